/// Looking at the text of SQL statements without understanding it.
#pragma once

#include <string>
#include <string_view>

namespace qv::db {

/// What an error text may show of a statement: its first words, and nothing of the values in it.
std::string FirstWords(std::string_view sql);

/// Takes the first statement off `text`, a text of statements that are separated by ";". Texts, names and comments may
/// hold semicolons. @return the statement; empty at the end
std::string_view TakeStatement(std::string_view& text);

}  // namespace qv::db
