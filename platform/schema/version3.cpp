#include "schema/versions.h"

namespace qv::schema {

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
