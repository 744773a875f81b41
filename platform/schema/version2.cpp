#include "schema/versions.h"

namespace qv::schema {

const char* const kVersion2 = R"sql(
-- Indexes for looking up single rows. None begins with the owner: for a server's rows, which come in order of their
-- ids, the index of the owner alone stays the only choice.
CREATE INDEX iva_task_by_id_on_rec_server ON iva_task (id_on_rec_server,owner_zr_id);
CREATE INDEX counting_widget_by_id_on_rec_server ON counting_widget (id_on_rec_server,iva_setting_id);
CREATE INDEX counting_task_group_by_id_on_rec_server ON counting_task_group (id_on_rec_server,owner_zr_id);
CREATE INDEX capability_file_by_path ON capability_file (path);
DROP INDEX IF EXISTS message_by_zr_id;

-- A file has one row from now on, that of its server before that of a shared file.
DELETE FROM capability_file WHERE id NOT IN (
  SELECT id FROM (SELECT id,ROW_NUMBER() OVER (PARTITION BY path ORDER BY owner_zr_id=0,id) AS place
                  FROM capability_file) AS placed WHERE place=1);
)sql";

}  // namespace qv::schema
