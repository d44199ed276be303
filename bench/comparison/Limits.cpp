#include "Limits.h"

#include <cmath>
#include <limits>

namespace {

constexpr double kAny = std::numeric_limits<double>::infinity();

struct Limit {
  const char* figure;
  double measured;
  double least;
  double most;
};

}  // namespace

void PrintLimits(const Results& results) {
  const auto at = [](const char* section, double x) { return Point{section, x, "", {}}; };
  const auto tavok = [&](const Point& point, const char* figure, const char* to = "") {
    return results.MedianOf(point, "tavok", figure, to);
  };
  const Point load = at("unix-senders", 4);
  const Point udp = at("udp-rate", 50'000);
  const Point fastest = at("udp-rate", 200'000);
  const auto growth = [&](const Point& from, const Point& to) {
    return tavok(to, "cpu_us", "bare") / tavok(from, "cpu_us", "bare");
  };
  const double loss =
      tavok(fastest, "lost_percent") - results.MedianOf(fastest, "bare", "lost_percent");
  const Limit limits[] = {
      {"CPU per datagram, Unix socket, 100 bytes, 4 senders, to bare",
       tavok(load, "cpu_us", "bare"), 0, 1.10},
      {"datagrams per second, same load, to bare", tavok(load, "per_second", "bare"), 0.95, kAny},
      {"CPU per datagram, same load, to socklog", tavok(load, "cpu_us", "socklog"), 0, 1.0},
      {"peak memory, MB, same load", tavok(load, "peak_mb"), 0, 4.5},
      {"from exec to the raised semaphore, ms", tavok(load, "start_ms"), 0, 20},
      {"system calls per datagram, 16 senders", tavok(at("unix-senders", 16), "calls"), 1.995,
       2.025},
      {"CPU growth from 1 to 64 senders, beyond bare's (0.05 for noise)",
       growth(at("unix-senders", 1), at("unix-senders", 64)), 0, 1.05},
      {"CPU growth over ten million datagrams, beyond bare's (0.05 for noise)",
       growth(at("long", 1'000'000), at("long", 10'000'000)), 0, 1.05},
      {"CPU per datagram, UDP, 50,000 a second, to bare", tavok(udp, "cpu_us", "bare"), 0, 1.6},
      {"UDP loss beyond bare's, 200,000 a second, percentage points", loss, -kAny, 0.1}};
  std::vector<std::vector<std::string>> rows = {{"figure", "measured", "from", "to", "met"}};
  for (const Limit& limit : limits) {
    if (std::isnan(limit.measured)) continue;
    const bool met = limit.least <= limit.measured && limit.measured <= limit.most;
    rows.push_back({limit.figure, Number(limit.measured, 3), Number(limit.least, 3),
                    Number(limit.most, 3), met ? "yes" : "NO"});
  }
  if (rows.size() > 1) PrintTable("What tavok is held to, where it was measured", rows);
}
