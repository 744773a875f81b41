/// The part of a list that a filter rule asks for.
#pragma once

#include <iterator>
#include <list>

namespace qv::devices {

/// Keeps `limit` elements after the first `start`; a limit of 0 keeps them all.
template <class T>
void KeepPage(std::list<T>& list, int start, int limit) {
  for (; start > 0 && !list.empty(); --start) list.pop_front();
  if (limit > 0 && list.size() > static_cast<std::size_t>(limit))
    list.erase(std::next(list.begin(), limit), list.end());
}

}  // namespace qv::devices
