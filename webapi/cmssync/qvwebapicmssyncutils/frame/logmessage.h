/// How the library logs: one macro per form of message.
///
///     CMS_LOG(LOG_LEVEL_INFO, "UpdatePOSData", "Update POS [%d] on ZR [%d].\n", pos_id, zr_id);
///
/// Formats are printf's, checked by the compiler, and end in "\n". `level` and `function` are part of the message's
/// contract: `function` is a literal and may differ from the name of the calling function.
#pragma once

#include <string_view>

#include "frame/dbgloggate.h"

/// The source name of every message of the library.
inline constexpr char kLogSource[] = "qvwebapicmssyncutils";

/// Whether a literal format ends in a line break. Formats that are not literals are checked where they are made.
#define CMS_LOG_ENDS_LINE(format, ...) (!__builtin_constant_p(format) || std::string_view(format).ends_with('\n'))

/// Logs at `level` if the gate passes; otherwise does not evaluate the arguments. The message carries the line of the
/// call.
#define CMS_LOG(level, function, ...) CMS_LOG_AT(level, __LINE__, function, __VA_ARGS__)

/// As `CMS_LOG`, for a message whose line number is fixed by its contract.
#define CMS_LOG_AT(level, line, function, ...)                                                                  \
  do {                                                                                                          \
    static_assert(CMS_LOG_ENDS_LINE(__VA_ARGS__), "the format must end in a line break");                       \
    if (DbgLogLevelEnabled(level)) {                                                                            \
      QVPrintf(LOG_TYPE_DIAGNOSTIC, Enum2String<LOG_CATEG>(LOG_CATEG_CMS_SYNC),                                 \
               Enum2String<LOG_LEVEL>(static_cast<LOG_LEVEL>(level)), kLogSource, line, function, __VA_ARGS__); \
    }                                                                                                           \
  } while (false)

/// Logs regardless of the configuration, without a level and a category.
#define CMS_LOG_ALWAYS(function, ...)                                                             \
  do {                                                                                            \
    static_assert(CMS_LOG_ENDS_LINE(__VA_ARGS__), "the format must end in a line break");         \
    QVPrintf(LOG_TYPE_DIAGNOSTIC, nullptr, nullptr, kLogSource, __LINE__, function, __VA_ARGS__); \
  } while (false)
