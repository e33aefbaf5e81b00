// Internal: the machine identity text, composed from two queries whose commands can be chosen.
#pragma once

#include <string>

namespace identity {

// One question to the host: a command line whose output holds the column name with the value behind it.
struct ColumnQuery {
    std::string commandLine;
    std::string columnName;
};

// The board serial and processor id queries of this host.
ColumnQuery BoardSerialQuery();
ColumnQuery ProcessorIdQuery();

// The value behind the first occurrence of the column name in the output (the output taken up to its
// first NUL), with every blank, CR and LF removed; false when the column name is not there.
bool ExtractColumnValue(const std::string& output, const std::string& columnName, std::string& value);

// Runs the query's command, reads its first output and extracts the column; false when the child, its
// pipe or its read failed or the column is missing.
bool RunColumnQuery(const ColumnQuery& query, std::string& value);

// "mode:Windows;baseBoardSN:<board>;processorId:<processor>", or "" when either query fails; the
// processor query runs only after the board query succeeded.
std::string ComposeMachineIdentity(const ColumnQuery& board, const ColumnQuery& processor);

}  // namespace identity
