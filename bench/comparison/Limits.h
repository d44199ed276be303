#pragma once

#include "Results.h"

/// Prints what tavok is held to, beside what was measured. Of no consequence for the exit status:
/// one run on a busy machine proves little.
void PrintLimits(const Results& results);
