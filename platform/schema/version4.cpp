#include "schema/versions.h"

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
const char* const kVersion4 = R"sql(
-- When the message was written, in milliseconds since 1970.
ALTER TABLE message ADD COLUMN created INTEGER NOT NULL DEFAULT 0;
UPDATE message SET created = CAST(strftime('%s','now') AS INTEGER) * 1000;
-- How often receivers have refused it.
ALTER TABLE message ADD COLUMN attempts INTEGER NOT NULL DEFAULT 0;
-- Why it is set aside; '' for a message that waits.
ALTER TABLE message ADD COLUMN set_aside TEXT NOT NULL DEFAULT '';
-- Those that wait for a target, in the order of their ids.
CREATE INDEX message_waiting ON message (target) WHERE set_aside = '';
CREATE INDEX message_set_aside ON message (target) WHERE set_aside <> '';
)sql";

}  // namespace qv::schema
