#pragma once

#include <cstdint>
#include <ctime>
#include <string>

/// Figures as operators read them.

/// "912 bytes", "1.5 KiB", "50.0 MiB", "3.9 GiB".
std::string Size(std::uint64_t bytes);

/// "2 d 3 h", "3 h 12 min", "12 min 5 s", "5 s": the two largest units.
std::string Duration(long long seconds);

/// "2026-11-21 15:52:15 UTC".
std::string Time(std::time_t time);

/// The share of `part` in `whole`, "24 %"; empty if `whole` is 0.
std::string Percent(std::uint64_t part, std::uint64_t whole);
