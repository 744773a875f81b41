/// What the library asks of the package's other libraries: their functions are replaced in the test program by ones
/// that note the call with its arguments and then call the real function.
#pragma once

#include "journal.h"

namespace support {

/// The calls that `work` makes, one line each, in order:
///
///     Camera::Save row 2, server 7, there 12
///     SendCompoundCmd 7 null false
///
/// A record is written as its host id, its server and its id on that server, a rule as the criteria that were set, a
/// JSON value as its text. Arguments that only receive something are left out. Calls that one of the package's
/// functions makes of another are not noted.
Lines Calls(const std::function<void()>& work);

}  // namespace support
