#include "schema/versions.h"

namespace qv::schema {

// This version has not been released: the next change of the schema belongs here.
const char* const kPostgresqlVersion2 = R"sql(
-- When the message was written, in milliseconds since 1970.
ALTER TABLE message ADD COLUMN created BIGINT NOT NULL DEFAULT 0;
UPDATE message SET created = floor(extract(epoch FROM now())) * 1000;
-- How often receivers have refused it.
ALTER TABLE message ADD COLUMN attempts BIGINT NOT NULL DEFAULT 0;
-- Why it is set aside; '' for a message that waits.
ALTER TABLE message ADD COLUMN set_aside TEXT COLLATE "C" NOT NULL DEFAULT '';
-- Those that wait for a target, in the order of their ids.
CREATE INDEX message_waiting ON message (target,id) WHERE set_aside = '';
CREATE INDEX message_set_aside ON message (target,id) WHERE set_aside <> '';
)sql";

}  // namespace qv::schema
