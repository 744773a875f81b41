#include "names.h"

#include <cstddef>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_set>

namespace qv::json {
namespace {

/// Some thousand names: several times what all kinds of device have.
constexpr std::size_t kMaxBytes = std::size_t{256} * 1024;

struct Pool {
  std::mutex mutex;
  std::unordered_set<std::string> names;  // its elements stay where they are
  std::size_t bytes = 0;
};

}  // namespace

const char* KeepName(std::string_view name) {
  // Never destroyed: values that use the names may be destroyed later than anything here.
  static Pool* const pool = std::make_unique<Pool>().release();
  if (name.find('\0') != std::string_view::npos) {
    return nullptr;
  }
  const std::lock_guard lock(pool->mutex);
  std::string text(name);
  if (const auto found = pool->names.find(text); found != pool->names.end()) {
    return found->c_str();
  }
  const std::size_t bytes = sizeof(std::string) + text.size() + 1;
  if (pool->bytes + bytes > kMaxBytes) {
    return nullptr;
  }
  pool->bytes += bytes;
  return pool->names.insert(std::move(text)).first->c_str();
}

}  // namespace qv::json
