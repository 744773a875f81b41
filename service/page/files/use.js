/** What several views do. */
import { useEffect, useReducer, useState } from './hooks.js';

/** Renders again when the fleet changes, and at least each second, for ages to grow. */
export function useFleet(fleet) {
  const [, again] = useReducer((count) => count + 1, 0);
  useEffect(() => {
    const timer = setInterval(again, 1000);
    const end = fleet.listen(again);
    return () => {
      clearInterval(timer);
      end();
    };
  }, [fleet]);
}

/** Whether a media query holds. */
export function useMedia(query) {
  const [media] = useState(() => matchMedia(query));
  const [holds, setHolds] = useState(media.matches);
  useEffect(() => {
    const look = () => setHolds(media.matches);
    media.addEventListener('change', look);
    return () => media.removeEventListener('change', look);
  }, [media]);
  return holds;
}

/** The value, once it has stayed the same for a while. */
export function useSettled(value, ms) {
  const [settled, setSettled] = useState(value);
  useEffect(() => {
    const timer = setTimeout(() => setSettled(value), ms);
    return () => clearTimeout(timer);
  }, [value, ms]);
  return settled;
}

/** Calls back when "/" is pressed outside of a field: where search begins. */
export function useSlash(go) {
  useEffect(() => {
    const onKey = (event) => {
      if (event.key !== '/' || event.ctrlKey || event.metaKey || /INPUT|SELECT|TEXTAREA/.test(event.target.tagName)) return;
      event.preventDefault();
      go();
    };
    addEventListener('keydown', onKey);
    return () => removeEventListener('keydown', onKey);
  }, [go]);
}
