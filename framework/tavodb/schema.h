// The stored format of the database file, and the SQL that speaks it.
//
//   SQL table     "tavo_" + the table's name with each byte written as
//                   a-z 0-9 _       itself
//                   A-Z             '^' and itself, for SQL folds case
//                   any other       '%' and two hexadecimal digits
//     key  BLOB     the key's bytes
//     seq  INTEGER  1, 2, ... within the key: the order of insertion
//     value BLOB    the value's bytes
//   primary key   (key, seq), WITHOUT ROWID: the index on the key is the table
//                 itself, so a read descends one tree and a write dirties one
//                 page of it
//
// Files of this form exist: neither names nor columns ever change.
#pragma once

#include <cstdint>
#include <string>

namespace tavodb {

/// The quoted SQL name of the table `name`, which may hold any bytes.
/// Distinct names stay distinct: OrvoEP is "tavo_^orvo^e^p" in SQL's eyes.
std::string sqlTableName(const std::string& name);

/// Creates the table where it is missing.
std::string createSql(const std::string& name);

/// Columns: value. Parameters: ?1 the key. One row per value, oldest first.
std::string selectSql(const std::string& name);

/// Columns: key, value. Every row of the table, by key, then oldest first.
std::string selectAllSql(const std::string& name);

/// The statement of one of TavoDB's write operations (DB_OP_...).
/// Parameters: ?1 the key; ?2 the value, except for a deletion.
std::string writeSql(const std::string& name, std::uint32_t operation);

}  // namespace tavodb
