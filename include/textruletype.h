/// What is done with a text that is found where it can be seen: on a receipt, or as a name beside a face.
#pragma once

enum TEXT_RULE_TYPE : int {
  TEXT_RULE_HIGHLIGHT = 0,
  TEXT_RULE_REPLACE = 1,
  TEXT_RULE_DROP = 2,
};
