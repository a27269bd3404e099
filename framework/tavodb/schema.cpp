// Builds the SQL of one table from its name.
#include "framework/tavodb/schema.h"

#include "store/tavo_db.h"

namespace tavodb {
namespace {

// By range and not by <cctype>: the stored names must not follow the locale.
bool isBetween(char c, char first, char last) {
    return c >= first && c <= last;
}

void appendEscaped(std::string& out, char c) {
    constexpr char kHexDigits[] = "0123456789abcdef";
    if (isBetween(c, 'a', 'z') || isBetween(c, '0', '9') || c == '_') {
        out += c;
    } else if (isBetween(c, 'A', 'Z')) {
        out += '^';
        out += c;
    } else {
        const auto byte = static_cast<unsigned char>(c);
        out += '%';
        out += kHexDigits[byte >> 4];
        out += kHexDigits[byte & 0xf];
    }
}

}  // namespace

std::string sqlTableName(const std::string& name) {
    std::string quoted = "\"tavo_";
    for (const char c : name)
        appendEscaped(quoted, c);
    return quoted + '"';
}

std::string createSql(const std::string& name) {
    return "CREATE TABLE IF NOT EXISTS " + sqlTableName(name) +
           "(key BLOB NOT NULL, seq INTEGER NOT NULL, value BLOB NOT NULL,"
           " PRIMARY KEY(key, seq)) WITHOUT ROWID";
}

std::string selectSql(const std::string& name) {
    return "SELECT value FROM " + sqlTableName(name) + " WHERE key = ?1 ORDER BY seq";
}

std::string selectAllSql(const std::string& name) {
    return "SELECT key, value FROM " + sqlTableName(name) + " ORDER BY key, seq";
}

std::string writeSql(const std::string& name, std::uint32_t operation) {
    const std::string table = sqlTableName(name);
    switch (operation) {
        case DB_OP_INSERT:
            return "INSERT INTO " + table +
                   "(key, seq, value) VALUES(?1, (SELECT ifnull(max(seq), 0) + 1 FROM " + table +
                   " WHERE key = ?1), ?2)";
        case DB_OP_UPDATE:
            return "UPDATE " + table + " SET value = ?2 WHERE key = ?1";
        case DB_OP_DELETE:
            return "DELETE FROM " + table + " WHERE key = ?1";
        default:
            return {};
    }
}

}  // namespace tavodb
