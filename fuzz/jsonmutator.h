/// Changes a JSON document as a slave gone wrong might: a member of another type, a number out of range, a text with
/// something in it, an entry twice or gone.
#pragma once

#include <json/value.h>

#include <random>

namespace fuzz {

/// Makes one change somewhere in `document`.
void Mutate(Json::Value& document, std::mt19937& random);

}  // namespace fuzz
