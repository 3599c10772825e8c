// Properties in memory: they take the place of the virtual phone's in a program that has them.
//
// There a property is a row of a database, and setting one waits for the disk, as on a phone the
// property service is asked. That is the platform's cost, many times larger and noisier than what
// the library does around it, and it would bury what is measured, or slow down what is tried.
#pragma once

#include <map>
#include <string>

namespace bench {

using Properties = std::map<std::string, std::string>;

/// From now on these properties are set, and no others.
void reset_properties(const Properties& properties);

/// How often one was read.
size_t property_reads();

}  // namespace bench
