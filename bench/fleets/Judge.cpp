#include <algorithm>
#include <cstdio>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <iterator>

#include "Check.h"
#include "Fleet.h"
#include "Numbered.h"

namespace {

struct Arrival {
  long at = 0;  // microseconds since 1970
  std::size_t host = 0;
  std::size_t number = 0;
  std::string text;  // with its line end; empty if the line is not whole
};

Arrival Parse(const std::string& line) {
  long seconds = 0, fraction = 0;
  std::size_t host = 0, sender = 0, number = 0;
  char text[101];
  int length = 0;
  (void)std::sscanf(line.c_str(),
                    "%10ld.%6ld {\"host\":\"h%zu\", \"file\":\"%*[^\"]\", \"offset\":%*d, "
                    "\"text\":\"%100[^\"]\"}%n",
                    &seconds, &fraction, &host, text, &length);
  if (length == 0 || static_cast<std::size_t>(length) != line.size()) return {};
  // A line of another host is foreign here.
  if (std::sscanf(text, "%zu %zu ", &sender, &number) != 2 || sender != host) return {};
  return {seconds * 1'000'000 + fraction, host, number, text + std::string("\n")};
}

// In milliseconds.
class Latencies {
 public:
  void Add(double latency) { m_all.push_back(latency); }

  void Print() {
    std::ranges::sort(m_all);
    for (const double part : {0.5, 0.99, 1.0}) {
      std::cout << ',';
      m_all.empty() ? std::cout << "NaN" : std::cout << At(part);
    }
  }

 private:
  double At(double part) const {
    return m_all[static_cast<std::size_t>(part * static_cast<double>(m_all.size() - 1))];
  }

  std::vector<double> m_all;
};

std::vector<long> ReadSent(const std::string& file) {
  std::ifstream stream(file);
  std::vector<long> sent{std::istream_iterator<long>(stream), {}};
  Check(!sent.empty(), file);
  return sent;
}

// By how many milliseconds the sender was behind its plan, at most.
double Behind(const std::vector<long>& sent, double rate) {
  double most = 0;
  for (std::size_t k = 0; k < sent.size(); ++k) {
    const double due = static_cast<double>(k) * 1e6 / rate;
    most = std::max(most, static_cast<double>(sent[k] - sent.front()) - due);
  }
  return most / 1000;
}

// Reads the arrived lines, and notes the latency of each one's first arrival.
class Reading {
 public:
  Reading(std::size_t hosts, std::vector<long> sent, double from, double until)
      : m_lines(hosts), m_hosts(hosts), m_sent(std::move(sent)), m_from(from), m_until(until) {}

  void Read(const std::string& line) {
    const Arrival arrival = Parse(line);
    const std::string fault = m_lines.Read(arrival.text.empty() ? line : arrival.text);
    const std::size_t index = arrival.number * m_hosts + arrival.host;
    const bool isFirst = fault.empty() || fault.starts_with("out of order");
    if (!isFirst || index >= m_sent.size()) return;
    const double latency = static_cast<double>(arrival.at - m_sent[index]) / 1000;
    const double moment = static_cast<double>(m_sent[index] - m_sent.front()) / 1e6;
    if (moment >= m_from && moment < m_until) m_undisturbed.Add(latency);
    m_all.Add(latency);
  }

  void Print() {
    std::vector<int> counts(m_hosts);
    for (std::size_t k = 0; k < m_sent.size(); ++k) counts[k % m_hosts] += 1;
    std::cout << m_sent.size() << ',' << m_lines.Whole() + m_lines.Repeated() << ','
              << m_lines.Missing(counts) << ',' << m_lines.Torn() << ',' << m_lines.Repeated()
              << ',' << m_lines.OutOfOrder();
    m_undisturbed.Print();
    m_all.Print();
  }

 private:
  NumberedReader m_lines;
  const std::size_t m_hosts;
  const std::vector<long> m_sent;
  const double m_from, m_until;
  Latencies m_undisturbed, m_all;
};

}  // namespace

void Judge(const Words& words) {
  const std::vector<long> sent = ReadSent(words.at(1));
  Reading reading(std::stoul(words.at(0)), sent, std::stod(words.at(3)), std::stod(words.at(4)));
  for (std::string line; std::getline(std::cin, line);) reading.Read(line);
  std::cout << std::fixed << std::setprecision(1);
  reading.Print();
  std::cout << ',' << Behind(sent, std::stod(words.at(2))) << std::endl;
}
