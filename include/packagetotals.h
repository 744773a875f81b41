/// Shared odds and ends of the package's list calls.
#pragma once

/// Receives totals that the caller does not want.
extern thread_local int QV_DUMMY_INT;
