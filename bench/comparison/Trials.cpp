#include "Trials.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <stdexcept>

#include "Results.h"
#include "Strace.h"
#include "Waiting.h"

namespace {

constexpr long kTracedDatagrams = 20'000;  // strace takes its time
constexpr int kTextMs = 300;               // within which a text is stored, if it ever is

struct Text {
  const char* title;
  std::string text;
};

const std::vector<Text> kTexts = {{"no line end", "plain"},
                                  {"two lines in one", "one\ntwo\n"},
                                  {"<13> in front", "<13>plain\n"},
                                  {"name[12]: in front", "name[12]: plain\n"},
                                  {"blanks around", "  plain  \n"},
                                  {"tab, ESC, CR", "a\tb\x1b[1mc\rd\n"},
                                  {"bytes above 127", "\xff\xfe\xe4\n"},
                                  {"NUL within", {'a', '\0', 'b', '\n'}},
                                  {"1024 bytes", std::string(1023, 'a') + "\n"},
                                  {"5000 bytes", std::string(4999, 'a') + "\n"},
                                  {"blank line", "\n"},
                                  {"an empty datagram", ""},
                                  {"the one after it", "plain\n"}};

// With many of `a` counted, and bytes that cannot be printed in hexadecimal.
std::string Shown(const std::string& text) {
  std::string shown;
  for (std::size_t i = 0, same = 0; i < text.size(); i += same) {
    same = std::min(text.find_first_not_of('a', i), text.size()) - i;
    if (same > 20) {
      shown += "a*" + std::to_string(same);
      continue;
    }
    same = 1;
    char hex[8];
    (void)std::snprintf(hex, sizeof hex, "\\x%02x", static_cast<unsigned char>(text[i]));
    shown += ' ' <= text[i] && text[i] <= '~' ? std::string(1, text[i]) : hex;
  }
  return shown.empty() ? "nothing" : shown;
}

// What is logged of a text that has just been sent, after the first `before` bytes.
std::string LoggedAfter(const Running& running, std::size_t before) {
  for (int waited = 0; waited < kTextMs && running.Logged().size() <= before; waited += 20) Nap(20);
  Nap(50);  // it may come in pieces
  return running.Logged().substr(before);
}

// What becomes of each text, as long as they can be sent.
std::vector<std::string> FatesOfTexts(const Subject& subject) {
  const Running running(subject, false);
  std::size_t logged = WarmUp({}, running).logged;
  const Feeder feeder(running);
  std::vector<std::string> fates;
  for (const Text& one : kTexts) {
    try {
      feeder.Send(one.text);
    } catch (const std::runtime_error&) {
      fates.emplace_back("it has ended");
      continue;
    }
    const std::string stored = LoggedAfter(running, logged);
    logged += stored.size();
    fates.push_back(stored == one.text ? "" : Shown(stored));
  }
  return fates;
}

}  // namespace

Figures MeasureLoad(const Load& load, const Running& running, const Written& each) {
  Figures figures = Send(load, running, each);
  figures["peak_mb"] = running.MemoryMb("VmHWM");
  figures["own_mb"] = running.MemoryMb("RssAnon");
  figures["start_ms"] = running.StartMs();
  return figures;
}

Figures MeasureRotation(const Load& load, Running& running, const Written& each) {
  const auto rotations = std::lround(load.seconds / kRotationPeriod) - 1;
  const auto rotate = [&] {
    for (long i = 0; i < rotations; ++i) {
      Nap(static_cast<int>(kRotationPeriod * 1000));
      running.Rotate();
    }
  };
  Figures figures = Send(load, running, each, rotate);
  figures["files"] = static_cast<double>(running.LogFiles().size());
  return figures;
}

Figures CountCalls(Load load, const Running& running, const Written& each) {
  if (!HasStrace()) return {};
  load.datagrams = std::min(load.datagrams, kTracedDatagrams);
  const auto written = load.numbered ? running.LogFiles() : std::vector<std::filesystem::path>();
  double received = 0;
  const auto send = [&] { received = Send(load, running, each)["received"]; };
  const long calls = CountedCalls(running.Pids(), running.At().directory / "calls", written, send);
  return {{load.numbered ? "writes" : "calls", static_cast<double>(calls) / received}};
}

void PrintTexts(const std::vector<Subject>& subjects) {
  std::vector<std::vector<std::string>> rows = {{"sent"}};
  for (const Text& one : kTexts) rows.push_back({one.title});
  for (const Subject& subject : subjects) {
    rows.front().push_back(subject.name);
    const std::vector<std::string> fates = FatesOfTexts(subject);
    for (std::size_t i = 0; i < fates.size(); ++i) rows[i + 1].push_back(fates[i]);
  }
  PrintTable("What becomes of texts; blank: stored unchanged", rows);
}
