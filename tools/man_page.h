// The manual page, made of what the command line takes.
#pragma once

#include "tools/definition.h"

namespace cli {

/// Prints fcx.1 in the macros of man(7). Its date is $SOURCE_DATE_EPOCH, or today.
void print_man_page(const Definition& tool, const char* version);

}  // namespace cli
