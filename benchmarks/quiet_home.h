// Parts of a phone's home that are as cheap as on a phone: they take the place of the virtual
// phone's in a program that has them. No operation on a file meets a fault, and no reboot happens.
#pragma once

#include <cstddef>

namespace bench {

/// How often a file was opened, and read.
size_t file_opens();
size_t file_reads();

}  // namespace bench
