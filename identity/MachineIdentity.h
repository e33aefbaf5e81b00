// Internal: the machine identity text, composed from two host queries, each a child program whose first
// output holds a column name with the value behind it.
#pragma once

#include <string>

#include "platform/sysinfo.h"

namespace identity {

// The value behind the first occurrence of the column name in the output (the output taken up to its
// first NUL), with every blank, CR and LF removed; false when the column name is not there.
bool ExtractColumnValue(const std::string& output, const std::string& columnName, std::string& value);

// Runs the query's program, reads its first output and extracts the column; false when the child, its
// pipe or its read failed or the column is missing.
bool RunColumnQuery(const platform::MachineQuery& query, std::string& value);

// "mode:Windows;baseBoardSN:<board>;processorId:<processor>", or "" when either query fails; the
// processor query runs only after the board query succeeded.
std::string ComposeMachineIdentity(const platform::MachineQuery& board, const platform::MachineQuery& processor);

}  // namespace identity
