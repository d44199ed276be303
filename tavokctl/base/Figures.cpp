#include "base/Figures.h"

#include "QELDateTime.h"
#include "QELString.h"

std::string Size(std::uint64_t bytes) {
  if (bytes < 1024) return std::to_string(bytes) + " bytes";
  double size = static_cast<double>(bytes) / 1024;
  const char* const units[] = {"KiB", "MiB", "GiB", "TiB"};
  std::size_t unit = 0;
  for (; size >= 1023.95 && unit < 3; ++unit) size /= 1024;
  return qel::QELSPrintf("%.1f %s", size, units[unit]);
}

std::string Duration(long long seconds) {
  struct {
    long long seconds;
    const char* name;
  } const units[] = {{86400, "d"}, {3600, "h"}, {60, "min"}, {1, "s"}};
  std::string text;
  int count = 0;
  for (const auto& unit : units) {
    if ((count == 0 && seconds < unit.seconds && unit.seconds > 1) || count == 2) continue;
    text +=
        qel::QELSPrintf("%s%lld %s", count++ == 0 ? "" : " ", seconds / unit.seconds, unit.name);
    seconds %= unit.seconds;
  }
  return text;
}

std::string Time(std::time_t time) {
  std::string text;
  return qel::CDateTime(time).Format("%Y-%m-%d %H:%M:%S UTC", text);
}

std::string Percent(std::uint64_t part, std::uint64_t whole) {
  if (whole == 0) return {};
  return qel::QELSPrintf("%.0f %%", 100 * static_cast<double>(part) / static_cast<double>(whole));
}
