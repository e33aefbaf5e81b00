// The machine identity text: two child-process queries, one read each, a column search and cleaning.
#include "identity/MachineIdentity.h"

#include "platform/process.h"
#include "strings/COsString.h"

namespace identity {

namespace {

// How long the child may run before its output is read, how long the one read may wait for a first
// output after that, and how much of it is read.
constexpr unsigned kChildWaitMilliseconds = 500;
constexpr unsigned kFirstOutputMilliseconds = 500;
constexpr size_t kOutputCapacity = 10000;

}  // namespace

bool ExtractColumnValue(const std::string& output, const std::string& columnName, std::string& value)
{
    const std::string text = output.substr(0, output.find('\0'));
    const size_t column = text.find(columnName);
    if (column == std::string::npos)
        return false;
    value = text.substr(column + columnName.size());
    value = COsString::Replace(value, " ", "");
    value = COsString::Replace(value, "\r", "");
    value = COsString::Replace(value, "\n", "");
    return true;
}

bool RunColumnQuery(const platform::MachineQuery& query, std::string& value)
{
    std::string output;
    if (!platform::RunAndReadOnce(query.program, kChildWaitMilliseconds, kFirstOutputMilliseconds,
                                  kOutputCapacity, output))
        return false;
    return ExtractColumnValue(output, query.columnName, value);
}

std::string ComposeMachineIdentity(const platform::MachineQuery& board, const platform::MachineQuery& processor)
{
    std::string boardSerial;
    if (!RunColumnQuery(board, boardSerial))
        return std::string();
    std::string processorId;
    if (!RunColumnQuery(processor, processorId))
        return std::string();
    return "mode:Windows;baseBoardSN:" + boardSerial + ";processorId:" + processorId;
}

}  // namespace identity
