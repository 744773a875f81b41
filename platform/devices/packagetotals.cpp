#include "packagetotals.h"

thread_local int QV_DUMMY_INT = 0;
