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
const char* const kVersion3 = R"sql(
-- What the file holds; '' until the files have been read, see capability/filesync.cpp.
ALTER TABLE capability_file ADD COLUMN content TEXT NOT NULL DEFAULT '';
-- One row: changes with every transaction that changes capability_file.
CREATE TABLE capability_revision (revision TEXT NOT NULL);
INSERT INTO capability_revision (revision) VALUES (lower(hex(randomblob(8))));
-- Files that waited for their commit; capability_file says now what they hold.
DROP TABLE IF EXISTS staged_file;
-- Which of the rows of one widget counts: the highest, then the newest.
ALTER TABLE counting_widget ADD COLUMN precedence INTEGER NOT NULL DEFAULT 0;
CREATE INDEX counting_widget_by_id_and_owner ON counting_widget (id_on_rec_server,owner_zr_id);
)sql";

}  // namespace qv::schema
