#include "Limits.h"

#include <algorithm>
#include <cmath>

namespace {

// A point that was not planned has no measurements: what is asked of it is not a number.
Point PointAt(const std::vector<Point>& points, const char* section, double x) {
  const auto found = std::find_if(points.begin(), points.end(), [&](const Point& point) {
    return point.section == section && point.x == x;
  });
  return found == points.end() ? Point{} : *found;
}

void Print(const char* what, double measured, const char* limit, bool met) {
  if (std::isnan(measured)) {
    std::printf("| %-66s | %8s | %-12s | not measured |\n", what, "-", limit);
  } else {
    std::printf("| %-66s | %8.3f | %-12s | %s |\n", what, measured, limit, met ? "yes" : "NO");
  }
}

void PrintAtMost(const char* what, double measured, double limit) {
  char text[32];
  std::snprintf(text, sizeof text, "<= %.4g", limit);
  Print(what, measured, text, measured <= limit);
}

// How tavok's cost has grown from one load to another, beyond the bare loop's.
double Growth(const Results& results, const Point& from, const Point& to) {
  const auto ratio = [&](const Point& point) {
    return Median(results.Ratios(point, "tavok", "bare", "cpu_us"));
  };
  return ratio(to) / ratio(from);
}

// tavok's loss beyond that of the bare loop, in percentage points, at the rate where it is worst.
double WorstLoss(const Results& results, const std::vector<Point>& points) {
  double worst = NAN;
  for (const Point& point : points) {
    if (!point.load.udp) continue;
    worst = std::fmax(worst, results.MedianOf(point, "tavok", "lost_percent") -
                                 results.MedianOf(point, "bare", "lost_percent"));
  }
  return worst;
}

// The ratio of tavok's cost to that of the peer that comes out best against it.
double ToBestPeer(const Results& results, const Point& point,
                  const std::vector<Subject>& subjects) {
  double worst = NAN;
  for (const Subject& subject : subjects) {
    if (subject.name.starts_with("bare") || subject.IsTavok()) continue;
    worst = std::fmax(worst, Median(results.Ratios(point, "tavok", subject.name, "cpu_us")));
  }
  return worst;
}

double Worst(const Results& results, const std::vector<Point>& points, const char* figure) {
  double worst = NAN;
  for (const Point& point : points) {
    worst = std::fmax(worst, results.MedianOf(point, "tavok", figure));
  }
  return worst;
}

}  // namespace

void PrintLimits(const Results& results, const std::vector<Point>& points,
                 const std::vector<Point>& longRun, const std::vector<Subject>& subjects) {
  const Point unixLoad = PointAt(points, "unix-senders", 4);
  const Point udpLoad = PointAt(points, "udp-rate", 50'000);
  const auto toBare = [&](const Point& point, const char* figure) {
    return Median(results.Ratios(point, "tavok", "bare", figure));
  };
  // Four senders do not always keep the queue filled; sixteen do.
  const Point backlog = PointAt(points, "unix-senders", 16);
  const double calls = results.MedianOf(backlog, "tavok", "calls");
  const double speed = toBare(unixLoad, "per_second");

  std::printf("\n### What tavok is held to\n\n| %-66s | measured | limit        | met |\n",
              "figure");
  std::printf(
      "|:-------------------------------------------------------------------|---------:|"
      ":-------------|:----|\n");
  PrintAtMost("CPU per datagram, Unix socket, 100 bytes, 4 senders, to bare",
              toBare(unixLoad, "cpu_us"), 1.10);
  Print("datagrams per second, same load, to bare", speed, ">= 0.95", speed >= 0.95);
  Print("system calls per datagram under backlog (16 senders)", calls, "2.00 to 2.02",
        calls > 1.995 && calls < 2.025);
  PrintAtMost("CPU per datagram, UDP, 50,000 a second, to bare", toBare(udpLoad, "cpu_us"), 1.6);
  PrintAtMost("UDP loss beyond bare's, worst load, percentage points", WorstLoss(results, points),
              0.1);
  PrintAtMost("CPU per datagram, Unix socket, 100 bytes, to the best peer",
              ToBestPeer(results, unixLoad, subjects), 1.0);
  PrintAtMost(
      "CPU growth from 1 to 64 senders, beyond bare's (0.05 for noise)",
      Growth(results, PointAt(points, "unix-senders", 1), PointAt(points, "unix-senders", 64)),
      1.05);
  if (!longRun.empty()) {
    PrintAtMost("CPU growth over the long run, beyond bare's (0.05 for noise)",
                Growth(results, longRun.front(), longRun.back()), 1.05);
  }
  PrintAtMost("peak memory, MB", Worst(results, points, "peak_mb"), 4.5);
  PrintAtMost("from exec to the raised semaphore, ms", Worst(results, points, "start_ms"), 20);
}
