/// The columns of a PostgreSQL database, in the words of the schema.
#pragma once

namespace qv::db {

/// Table, column and definition as `Columns` has it, of the tables in the first schema of the search path.
inline constexpr const char* kColumnsQuery = R"sql(
  SELECT t.relname, c.attname,
         CASE c.atttypid WHEN 'bigint'::regtype THEN 'INTEGER' WHEN 'double precision'::regtype THEN 'REAL'
                         WHEN 'text'::regtype THEN 'TEXT' ELSE format_type(c.atttypid, c.atttypmod) END ||
         CASE WHEN c.atttypid = 'text'::regtype AND o.collname <> 'C' THEN ' COLLATE ' || o.collname ELSE '' END ||
         CASE WHEN p.conname IS NOT NULL THEN ' PRIMARY KEY' WHEN c.attnotnull THEN ' NOT NULL' ELSE '' END ||
         coalesce(' DEFAULT ' || regexp_replace(regexp_replace(pg_get_expr(d.adbin, d.adrelid), '::[a-z]+.*$', ''),
                                                '^''(-?[0-9]+)''$', '\1'), '') ||
         coalesce(' REFERENCES ' || target.relname || '(' || referenced.attname || ') ON DELETE ' ||
                  CASE r.confdeltype WHEN 'c' THEN 'CASCADE' WHEN 'n' THEN 'SET NULL' ELSE 'NO ACTION' END, '')
    FROM pg_class t
    JOIN pg_attribute c ON c.attrelid = t.oid AND c.attnum > 0 AND NOT c.attisdropped
    LEFT JOIN pg_collation o ON o.oid = c.attcollation
    LEFT JOIN pg_attrdef d ON d.adrelid = t.oid AND d.adnum = c.attnum AND c.attname <> 'id'
    LEFT JOIN pg_constraint p ON p.conrelid = t.oid AND p.contype = 'p' AND p.conkey = ARRAY[c.attnum]
    LEFT JOIN pg_constraint r ON r.conrelid = t.oid AND r.contype = 'f' AND r.conkey = ARRAY[c.attnum]
    LEFT JOIN pg_class target ON target.oid = r.confrelid
    LEFT JOIN pg_attribute referenced ON referenced.attrelid = r.confrelid AND referenced.attnum = r.confkey[1]
   WHERE t.relkind IN ('r', 'p') AND t.relname <> 'commit_mark'
     AND t.relnamespace = (SELECT oid FROM pg_namespace WHERE nspname = current_schema()))sql";

}  // namespace qv::db
