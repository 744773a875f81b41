// Before the first paint: the theme that was chosen on this machine. Without one, the system's holds.
(() => {
  const theme = localStorage.getItem('theme');
  if (theme === 'light' || theme === 'dark') document.documentElement.dataset.theme = theme;
})();
