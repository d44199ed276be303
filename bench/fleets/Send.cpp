#include <chrono>
#include <iostream>
#include <list>
#include <thread>

#include "Fleet.h"
#include "Numbered.h"
#include "Sockets.h"

namespace {

using std::chrono::system_clock;

long NowUs() {
  const auto now = system_clock::now().time_since_epoch();
  return std::chrono::duration_cast<std::chrono::microseconds>(now).count();
}

// Sends as many lines as there are places in the result, which holds when each was sent.
void SendPaced(const std::list<Sender>& hosts, double rate, std::vector<long>& sent) {
  const auto begin = std::chrono::steady_clock::now();
  std::size_t line = 0;
  auto host = hosts.begin();
  for (long& at : sent) {
    const std::chrono::duration<double> due(static_cast<double>(line) / rate);
    std::this_thread::sleep_until(begin + due);
    at = NowUs();
    host->Send(Numbered(line % hosts.size(), static_cast<int>(line / hosts.size())));
    ++line;
    if (++host == hosts.end()) host = hosts.begin();
  }
}

}  // namespace

void Send(const Words& words) {
  std::list<Sender> hosts;
  for (std::size_t i = 0; i + 2 < words.size(); ++i) hosts.emplace_back(words[i]);
  if (hosts.empty()) throw std::runtime_error("no socket to send to");
  const double rate = std::stod(words[words.size() - 2]);
  std::vector<long> sent(static_cast<std::size_t>(rate * std::stod(words.back())));
  SendPaced(hosts, rate, sent);
  for (const long at : sent) std::cout << at << '\n';
}
