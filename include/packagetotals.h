/// What the list calls of the package share.
#pragma once

/// A place for totals that the caller does not need.
extern thread_local int QV_DUMMY_INT;
