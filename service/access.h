/// Who may do what.
#pragma once

#include <qv/json.h>
#include <qv/tokens.h>

namespace qvcmsd {

/// What a route asks of a client.
enum class Need {
  Nothing,
  Documents,  ///< to send documents of the slave in the path
  Read,
  Operate,
  Metrics,
};

/// Whether the scope is enough. @param zr  the slave in the path, 0 if there is none
bool Allows(const qv::Scope& scope, Need need, int zr);

/// What a scope would have to hold, for people: "slave:7 or operate".
std::string WordsFor(Need need, int zr);

}  // namespace qvcmsd
