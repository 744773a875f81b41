#include "versions.h"

namespace qv::schema {

// This version has not been released: the next change of the schema belongs here.
//
// References between rows are not held to while a version is applied. So a table is made anew, with other references
// or defaults, without losing the rows that refer to it:
//
//     CREATE TABLE new_door (...);
//     INSERT INTO new_door SELECT ... FROM door;
//     DROP TABLE door;                        -- its indexes go with it
//     ALTER TABLE new_door RENAME TO door;    -- references of other tables to door lead to this one again
//     CREATE INDEX door_by_owner_zr_id ON door (owner_zr_id);
const char* const kVersion3 = R"sql(
)sql";

}  // namespace qv::schema
