#pragma once

#include <string>
#include <vector>

/// With so many digits behind the point; a dash for what is not a number, so was not measured.
std::string Number(double value, int digits);

/// Prints a table of Markdown with its heading above. The first row names the columns; the first
/// column is aligned to the left, the others to the right.
void PrintTable(const std::string& heading, const std::vector<std::vector<std::string>>& rows);
