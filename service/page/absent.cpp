/// For a program that is built without its page.

#include "page/page.h"

namespace qvcmsd {

std::span<const Asset> Assets() { return {}; }

}  // namespace qvcmsd
