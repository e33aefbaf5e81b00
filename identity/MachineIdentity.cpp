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

// Each command prints its column name on a line of its own, then the value: a host without a readable
// board serial still answers, with an empty value.
ColumnQuery BoardSerialQuery()
{
    return {"echo SerialNumber; cat /sys/class/dmi/id/board_serial 2>/dev/null", "SerialNumber"};
}

// The processor id is the CPUID signature (family, model and stepping, encoded as the processor
// reports them in EAX of leaf 1) of each physical processor, in hexadecimal, one line each.
ColumnQuery ProcessorIdQuery()
{
    return {"echo ProcessorId; awk -F': *' '"
            "/^physical id/ { package = $2 } "
            "/^cpu family/ { family = $2 } "
            "/^model[ \\t]*:/ { model = $2 } "
            "/^stepping/ { stepping = $2 } "
            "/^$/ { if (family != \"\" && !(package in seen)) { seen[package] = 1; "
            "baseFamily = family > 15 ? 15 : family; extendedFamily = family > 15 ? family - 15 : 0; "
            "printf \"%08X\\n\", stepping + (model % 16) * 16 + baseFamily * 256 + int(model / 16) * 65536 "
            "+ extendedFamily * 1048576 } family = \"\" }' /proc/cpuinfo 2>/dev/null",
            "ProcessorId"};
}

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

bool RunColumnQuery(const ColumnQuery& query, std::string& value)
{
    std::string output;
    if (!platform::RunAndReadOnce(query.commandLine, kChildWaitMilliseconds, kFirstOutputMilliseconds,
                                  kOutputCapacity, output))
        return false;
    return ExtractColumnValue(output, query.columnName, value);
}

std::string ComposeMachineIdentity(const ColumnQuery& board, const ColumnQuery& processor)
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
