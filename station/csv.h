// Tables of values that are separated by commas (RFC 4180).
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "station/node.h"

namespace station {

/// The values of one column.
struct CsvColumn {
  std::vector<std::string> values;
  std::string wrong;  ///< why there are none; empty when nothing is wrong
  Place place;        ///< where that is
};

/// The column of that name. The first line has the names, each further one a row with as many
/// fields. A field in double quotes may have commas, line ends and doubled quotes; lines end in LF
/// or CR LF. No value of the column may be empty or have a control character.
CsvColumn read_csv_column(std::string_view text, const std::string& name);

/// The first field of each row that has any, where no line has names: rows may have other numbers
/// of fields, and values any characters.
CsvColumn read_first_csv_column(std::string_view text);

/// A row with its end, CR and LF. A field with a comma, a quote or a line end in it has quotes
/// around it.
std::string csv_row(const std::vector<std::string>& fields);

}  // namespace station
