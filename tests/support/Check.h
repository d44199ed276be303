#pragma once

#include <string>

// Throws std::runtime_error with `what` and the text of errno, unless `ok`.
void Check(bool ok, const std::string& what);
