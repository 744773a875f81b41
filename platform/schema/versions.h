/// The versions of the schema, as SQL texts: each takes a database from the version before it to its own, the first one
/// an empty database.
///
/// The text of a version that was released is never edited, since databases are at that version already: a change is a
/// statement in the newest version, which is released with the program. `schema.cpp` lists the versions; when a
/// database opens, its columns are compared with the field lists of the records.
#pragma once

namespace qv::schema {

extern const char* const kVersion1;
extern const char* const kVersion2;
extern const char* const kVersion3;
extern const char* const kVersion4;

/// The same for PostgreSQL, whose first version makes what the third of the others has.
extern const char* const kPostgresqlVersion1;
extern const char* const kPostgresqlVersion2;

}  // namespace qv::schema
