/// Text of floating-point numbers for SQL.
#pragma once

#include <string>

/// The shortest decimal text that `strtod` reads back as exactly `value`. A float widened to double therefore survives
/// a REAL column, which holds doubles. Meant for finite values: SQL has no literal for the others.
std::string ftos(double value);

/// `value` as the nearest float. What lies beyond the range of floats becomes the largest one of its sign, which a
/// database can hold, not infinity, which it cannot.
float NarrowToFloat(double value);
