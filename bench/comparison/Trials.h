#pragma once

#include "Load.h"

/// How far rotations under a load lie apart, in seconds.
constexpr double kRotationPeriod = 1.1;

/// Cost, speed, loss, memory and start.
Figures MeasureLoad(const Load& load, const Running& running, const Written& each);

/// Loss and faults while the subject begins new files, as long as the load lasts.
Figures MeasureRotation(const Load& load, Running& running, const Written& each);

/// System calls per datagram; of a numbered load, only the writes to the files. Empty without
/// strace. Not for UDP: strace would make a backlog of any rate.
Figures CountCalls(Load load, const Running& running, const Written& each);

/// Prints what becomes of texts that are not plain lines: blank if they are stored unchanged.
void PrintTexts(const std::vector<Subject>& subjects);
