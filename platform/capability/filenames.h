/// Which names capability files may have.
///
/// A path in the folder of a server begins with the server's id, and belongs to that server. All other paths are
/// shared by the servers: their first name is no number, their last one ends in ".cap", and no other does. So no file
/// can have the name of a folder that another server's file is in.
#pragma once

#include <string>
#include <string_view>

#include "db/driver.h"

namespace qv::capability {

/// A name that no file can have here, with the reason.
class NameRefused : public db::Error {
 public:
  explicit NameRefused(const std::string& reason)
      : db::Error(db::Error::Kind::Statement, "its name is refused: " + reason) {}
};

/// `name` without empty names and ".". Throws `NameRefused` if it would lead out of the folder, cannot be a file, or
/// breaks the rules above.
std::string PathOf(std::string_view name);

/// The server that a path of `PathOf` belongs to; 0: it is shared.
int ServerOf(std::string_view path);

/// `name` with `server` in place of the number that it begins with, as `PathOf` gives it. Throws `NameRefused`.
std::string PathOnHost(std::string_view name, int server);

}  // namespace qv::capability
