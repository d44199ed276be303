#pragma once

#include <string>
#include <vector>

// What bench/fleet needs beside shell: one function a command. `words` are those behind its name;
// each throws std::exception when it cannot do its work, and some if a word is missing.

using Words = std::vector<std::string>;

// SOCKETS... RATE SECONDS: sends RATE lines a second, evenly paced, to the hosts in turn: each has
// a Unix-domain socket. Line k is number k / hosts of host k % hosts, as Numbered writes it. Then
// prints when each was sent: microseconds since 1970, a line each.
void Send(const Words& words);

// PARTITIONS FILE: three brokers on ports of 127.0.0.1, which are written to FILE, with one topic,
// and a reader of it, which prints each line behind the time of its arrival. SIGUSR1 takes a broker
// down, and two seconds later gives its partitions to the others; SIGUSR2 brings it back; SIGTERM
// ends it all.
void RunBrokers(const Words& words);

// SIGN: reads lines `KIND HOST PID`, prints for each `SIGN KIND HOST` and what that process takes:
// microseconds of processor time so far; resident, proportional and anonymous memory in KiB. For
// the kinds `busy` and `all` it is the time of this machine's processors instead.
void PrintUsage(const Words& words);

// HOSTS SENT RATE FROM UNTIL: judges lines `SECONDS.MICROSECONDS JSON` of standard input by the
// file SENT, which `Send` has printed. Prints, with commas: sent, arrived, lost, torn or foreign,
// repeated, out of order; median, 99th percentile and maximum of the milliseconds from a line's
// sending to its first arrival, of those sent in the seconds FROM to UNTIL, then of all; by how
// many milliseconds the sender was behind RATE, at most.
void Judge(const Words& words);
