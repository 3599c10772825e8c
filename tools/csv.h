// Comma-separated values, as RFC 4180 has them.
#pragma once

#include <string>
#include <vector>

namespace cli {

/// A line with its end, CR and LF. A field with a comma, a quote or a line end in it has quotes
/// around it.
std::string csv_line(const std::vector<std::string>& fields);

/// The first field of each line that is not empty. Lines end with LF, or with CR and LF; a quoted
/// field has its quotes taken off.
std::vector<std::string> first_fields(const std::string& csv);

}  // namespace cli
