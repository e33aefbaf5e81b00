// Internal: the directory of the library's own file, which relative names are taken from.
#pragma once

#include <string>

namespace location {

// The directory of the file that holds the library, in normal form and ending in its separator; the
// executable's directory where the host cannot name the library's file. Found at the first call and kept
// for the process, since the file cannot move while its code runs: later calls take no lock and build
// nothing, so a relative name never brings up the facade.
const std::string& LibraryDirectory();

}  // namespace location
