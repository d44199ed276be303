#pragma once

/// The commands, one file each in commands/. A command gets its own words, argv[0] being its name,
/// prints its result on standard output and returns the exit status. It throws CWrongUse or
/// CFailure, which main() reports.

int Check(int argc, char** argv);
int Prepare(int argc, char** argv);
int Start(int argc, char** argv);
int Stop(int argc, char** argv);
int Restart(int argc, char** argv);
int Rotate(int argc, char** argv);
int Status(int argc, char** argv);
int Cat(int argc, char** argv);
int Tail(int argc, char** argv);
int Trace(int argc, char** argv);
