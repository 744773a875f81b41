#include "json/names.h"

#include <cstddef>
#include <mutex>
#include <string>
#include <unordered_set>

namespace qv::json {
namespace {

/// Some thousand names. All kinds of devices together have some hundred.
constexpr std::size_t kMostBytes = std::size_t{256} * 1024;

struct Names {
  std::mutex mutex;
  std::unordered_set<std::string> kept;  // its elements stay where they are
  std::size_t bytes = 0;
};

}  // namespace

const char* KeepName(std::string_view name) {
  if (name.find('\0') != std::string_view::npos) return nullptr;
  // Never destroyed, since values that use the names may be destroyed later than any object here.
  static Names& names = *new Names;
  const std::lock_guard lock(names.mutex);
  std::string text(name);
  if (const auto found = names.kept.find(text); found != names.kept.end()) return found->c_str();
  const std::size_t bytes = sizeof(std::string) + text.size() + 1;
  if (names.bytes + bytes > kMostBytes) return nullptr;
  names.bytes += bytes;
  return names.kept.insert(std::move(text)).first->c_str();
}

}  // namespace qv::json
