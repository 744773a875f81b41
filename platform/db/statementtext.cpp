#include "db/statementtext.h"

#include <algorithm>

namespace qv::db {
namespace {

constexpr std::string_view kBlanks = " \t\r\n";

/// Where what is quoted at `begin`, or the comment there, ends; `begin` itself when nothing of the kind is there.
std::size_t EndOfQuoted(std::string_view text, std::size_t begin) {
  const auto behind = [&](std::string_view end, std::size_t from) {
    const std::size_t found = text.find(end, from);
    return found == std::string_view::npos ? text.size() : found + end.size();
  };
  const std::string_view rest = text.substr(begin);
  if (rest.starts_with('\'')) return behind("'", begin + 1);  // a doubled one begins the next quotation
  if (rest.starts_with('"')) return behind("\"", begin + 1);
  if (rest.starts_with("--")) return behind("\n", begin);
  if (rest.starts_with("/*")) return behind("*/", begin + 2);
  if (!rest.starts_with('$')) return begin;
  const std::size_t tag_end = rest.find_first_not_of("abcdefghijklmnopqrstuvwxyz_", 1);
  if (tag_end == std::string_view::npos || rest[tag_end] != '$') return begin;  // a parameter
  const std::string_view tag = rest.substr(0, tag_end + 1);
  return behind(tag, begin + tag.size());
}

}  // namespace

std::string FirstWords(std::string_view sql) {
  constexpr std::size_t kLength = 60;
  std::string words;
  bool blank = false;
  for (const char character : sql) {
    if (character == '\'' || words.size() >= kLength) break;
    if (kBlanks.find(character) != std::string_view::npos) {
      blank = !words.empty();
      continue;
    }
    if (blank) words += ' ';
    blank = false;
    words += character;
  }
  return words;
}

std::string_view TakeStatement(std::string_view& text) {
  text.remove_prefix(std::min(text.find_first_not_of(" \t\r\n;"), text.size()));
  std::size_t end = 0;
  while (end < text.size() && text[end] != ';') end = std::max(end + 1, EndOfQuoted(text, end));
  end = std::min(end, text.size());
  const std::string_view statement = text.substr(0, end);
  text.remove_prefix(end);
  return statement;
}

}  // namespace qv::db
