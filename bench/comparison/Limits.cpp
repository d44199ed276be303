#include "Limits.h"

#include <cmath>
#include <cstdio>

#include "Table.h"

namespace {

// One row: a figure, its limit, and whether it is met.
using Row = std::vector<std::string>;

Row Held(const char* what, double measured, const char* limit, bool met) {
  const bool known = !std::isnan(measured);
  return {what, Number(measured, 3), limit, !known ? "not measured" : met ? "yes" : "NO"};
}

Row AtMost(const char* what, double measured, double limit) {
  char text[32];
  (void)std::snprintf(text, sizeof text, "<= %.4g", limit);
  return Held(what, measured, text, measured <= limit);
}

// How tavok's cost has grown from one load to another, beyond the bare loop's.
double Growth(const Results& results, const Point& from, const Point& to) {
  const auto ratio = [&](const Point& point) {
    return Median(results.Ratios(point, "tavok", "bare", "cpu_us"));
  };
  return ratio(to) / ratio(from);
}

// The ratio of tavok's cost to that of the peer that comes out best against it.
double ToBestPeer(const Results& results, const Point& point,
                  const std::vector<Subject>& subjects) {
  double worst = NAN;
  for (const Subject& subject : subjects) {
    if (subject.IsBare() || subject.IsTavok()) continue;
    worst = std::fmax(worst, Median(results.Ratios(point, "tavok", subject.name, "cpu_us")));
  }
  return worst;
}

// The greatest median of tavok's figure, less that of `from`.
double Worst(const Results& results, const std::vector<Point>& points, const char* figure,
             const char* from = nullptr) {
  double worst = NAN;
  for (const Point& point : points) {
    const double base = from == nullptr ? 0 : results.MedianOf(point, from, figure);
    worst = std::fmax(worst, results.MedianOf(point, "tavok", figure) - base);
  }
  return worst;
}

}  // namespace

void PrintLimits(const Results& results, const std::vector<Point>& points,
                 const std::vector<Point>& longRun, const std::vector<Subject>& subjects) {
  const auto at = [](const char* section, double x) { return Point{section, x, "", {}}; };
  const Point unixLoad = at("unix-senders", 4);
  const Point udpLoad = at("udp-rate", 50'000);
  std::vector<Point> udp = points;
  std::erase_if(udp, [](const Point& point) { return !point.load.udp; });
  const auto toBare = [&](const Point& point, const char* figure) {
    return Median(results.Ratios(point, "tavok", "bare", figure));
  };
  // Four senders do not always keep the queue filled; sixteen do.
  const Point backlog = at("unix-senders", 16);
  const double calls = results.MedianOf(backlog, "tavok", "calls");
  const double speed = toBare(unixLoad, "per_second");

  std::vector<Row> rows = {
      {"figure", "measured", "limit", "met"},
      AtMost("CPU per datagram, Unix socket, 100 bytes, 4 senders, to bare",
             toBare(unixLoad, "cpu_us"), 1.10),
      Held("datagrams per second, same load, to bare", speed, ">= 0.95", speed >= 0.95),
      Held("system calls per datagram under backlog (16 senders)", calls, "2.00 to 2.02",
           calls > 1.995 && calls < 2.025),
      AtMost("CPU per datagram, UDP, 50,000 a second, to bare", toBare(udpLoad, "cpu_us"), 1.6),
      AtMost("UDP loss beyond bare's, worst load, percentage points",
             Worst(results, udp, "lost_percent", "bare"), 0.1),
      AtMost("CPU per datagram, Unix socket, 100 bytes, to the best peer",
             ToBestPeer(results, unixLoad, subjects), 1.0),
      AtMost("CPU growth from 1 to 64 senders, beyond bare's (0.05 for noise)",
             Growth(results, at("unix-senders", 1), at("unix-senders", 64)), 1.05)};
  if (!longRun.empty()) {
    rows.push_back(AtMost("CPU growth over the long run, beyond bare's (0.05 for noise)",
                          Growth(results, longRun.front(), longRun.back()), 1.05));
  }
  rows.push_back(AtMost("peak memory, MB", Worst(results, points, "peak_mb"), 4.5));
  rows.push_back(
      AtMost("from exec to the raised semaphore, ms", Worst(results, points, "start_ms"), 20));
  PrintTable("What tavok is held to", rows);
}
