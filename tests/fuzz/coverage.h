#pragma once

#include <string>

#include "rows.h"

namespace mirl::fuzz {

/// Compares the public headers with the rows: 0 if each operation has one, and each overload of a
/// function that returns a status.
int checkHeaders(const std::string& folder, const Rows& rows);

}  // namespace mirl::fuzz
