/// Lists of ids: made from devices, turned into text.
#pragma once

#include <list>
#include <locale>
#include <sstream>
#include <string>
#include <vector>

/// The ids of `objects`, in their order. @param id  `std::mem_fn` of an accessor that returns an int
template <class T, class F>
std::list<int> Transform2List(const std::list<T>& objects, F id) {
  std::list<int> ids;
  for (const T& object : objects) ids.push_back(id(object));
  return ids;
}

/// The ids as a vector.
inline std::vector<int> List2Vector(const std::list<int>& ids) { return {ids.begin(), ids.end()}; }

/// The elements of [first, last) as text, with `separator` between neighbours.
template <class Iterator>
std::string Iter2String(Iterator first, Iterator last, const std::string& separator) {
  std::ostringstream text;
  text.imbue(std::locale::classic());  // no grouping of digits, whatever the program's locale
  for (Iterator element = first; element != last; ++element) {
    if (element != first) text << separator;
    text << *element;
  }
  return text.str();
}
