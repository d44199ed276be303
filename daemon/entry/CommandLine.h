#pragma once

/// Takes -c into g_sConfFile and -s into g_nSemId, in the order given; -h prints the help text and
/// exits with status 0. The other letters that start scripts of related daemons pass are ignored.
/// getopt reports a bad option on standard error; otherwise it is ignored.
void ParseCommandLine(int argc, char** argv);

/// Prints the help text to standard output, with the current g_sConfFile as the default.
void Usage();
