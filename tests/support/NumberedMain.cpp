// Sends numbered messages, and says what became of them: the oracle of the C++ tests, for those
// that are written for the shell.
//
// numbered send TO COUNT [--senders N] [--pause-us N] [--until FILE]
//   Sends COUNT messages from each sender to TO, the path of a Unix-domain socket or a UDP port of
//   this host. Each is sent until it is taken, so the daemon may be restarted meanwhile. A message
//   is a line of 100 bytes: the sender's number (from 0), its own (from 0) and x's.
//   Prints how many each sender has sent, as `check` takes it: 1000,1000,1000,1000
//   --senders N    how many senders there are (1)
//   --pause-us N   pause of each sender after a message, in microseconds (0)
//   --until FILE   ends earlier, as soon as there is such a file
//   It fails when no message has been taken for a minute.
//
// numbered check COUNTS [--may-miss N] [--repeats] [--among] FILE...
//   Looks for the messages in the files (- for standard input), in the order in which they are
//   named. COUNTS is how many each sender has sent, such as 1000 or 990,1012.
//   Prints one line:
//     1000 sent: 1000 whole, 0 missing, 0 repeated, 0 out of order, 0 torn
//   Whole counts each message once; a repeated one is none that is out of order.
//   --may-miss N   up to N messages may be missing
//   --repeats      messages may come more than once
//   --among        other text and messages of further senders are passed over
//
// Status: 0 when all is well, 1 when it is not, which standard error explains, 2 for a wrong use.

#include <getopt.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <numeric>
#include <sstream>
#include <stdexcept>

#include "Flood.h"
#include "Numbered.h"
#include "Waiting.h"

namespace {

struct Options {
  FloodSetup flood{.senders = 1, .lead = LONG_MAX};
  std::string until;
  long mayMiss = 0;
  bool repeats = false, among = false;
  std::vector<std::string> words;  // those that are no options
};

int WrongUse() {
  std::cerr << "Usage: numbered send TO COUNT [--senders N] [--pause-us N] [--until FILE]\n"
               "       numbered check COUNTS [--may-miss N] [--repeats] [--among] FILE...\n";
  return 2;
}

// Throws std::invalid_argument for a wrong option, or a number that is none.
Options Parse(int argc, char** argv) {
  static const option kOptions[] = {{"senders", required_argument, nullptr, 's'},
                                    {"pause-us", required_argument, nullptr, 'p'},
                                    {"until", required_argument, nullptr, 'u'},
                                    {"may-miss", required_argument, nullptr, 'm'},
                                    {"repeats", no_argument, nullptr, 'r'},
                                    {"among", no_argument, nullptr, 'a'},
                                    {nullptr, 0, nullptr, 0}};
  Options options;
  for (int name; (name = ::getopt_long(argc, argv, "", kOptions, nullptr)) != -1;) {
    switch (name) {
      case 's':
        options.flood.senders = std::stoul(optarg);
        break;
      case 'p':
        options.flood.pauseUs = std::stoi(optarg);
        break;
      case 'u':
        options.until = optarg;
        break;
      case 'm':
        options.mayMiss = std::stol(optarg);
        break;
      case 'r':
        options.repeats = true;
        break;
      case 'a':
        options.among = true;
        break;
      default:
        throw std::invalid_argument("option");
    }
  }
  options.words.assign(argv + optind, argv + argc);
  return options;
}

// "990,1012"
std::vector<int> CountsIn(const std::string& text) {
  std::vector<int> counts;
  std::istringstream stream(text);
  for (std::string count; std::getline(stream, count, ',');) counts.push_back(std::stoi(count));
  return counts;
}

int SendMessages(const Options& options) {
  constexpr double kLimitSeconds = 60;
  Flood flood(options.words[1], options.flood);
  const long total = static_cast<long>(options.flood.each) * long(options.flood.senders);
  auto last = std::chrono::steady_clock::now();
  for (long sent = 0; sent < total && !std::filesystem::exists(options.until); Nap(5)) {
    if (flood.Sent() != sent) last = std::chrono::steady_clock::now();
    if (SecondsSince(last) > kLimitSeconds) {
      throw std::runtime_error("nobody takes messages at " + options.words[1]);
    }
    sent = flood.Sent();
  }
  const char* separator = "";
  for (const int count : flood.Stop()) {
    std::cout << separator << count;
    separator = ",";
  }
  std::cout << "\n";
  return 0;
}

// Returns the first fault.
std::string ReadAll(const std::string& name, NumberedReader& reader) {
  std::ifstream file(name == "-" ? "/dev/stdin" : name, std::ios::binary);
  if (!file) throw std::runtime_error("cannot read " + name);
  const std::string text(std::istreambuf_iterator<char>(file), {});
  const std::string fault = reader.Read(text);
  return fault.empty() ? "" : "numbered: " + name + ": first fault: " + fault + "\n";
}

int CheckMessages(const Options& options) {
  using Others = NumberedReader::Others;
  const std::vector<int> counts = CountsIn(options.words[1]);
  NumberedReader reader(counts.size(), options.among ? Others::kArePassedOver : Others::kAreFaults);
  std::string faults;
  for (std::size_t i = 2; i < options.words.size(); ++i) {
    faults += ReadAll(options.words[i], reader);
  }
  const long sent = std::accumulate(counts.begin(), counts.end(), 0L);
  const long missing = reader.Missing(counts);
  std::cout << sent << " sent: " << reader.Whole() << " whole, " << missing << " missing, "
            << reader.Repeated() << " repeated, " << reader.OutOfOrder() << " out of order, "
            << reader.Torn() << " torn" << std::endl;
  if (missing < 0) std::cerr << "numbered: there are numbers that were never sent\n";
  if (missing > options.mayMiss) {
    std::cerr << "numbered: missing: " << reader.FirstMissing(counts) << "\n";
  }
  const bool fails = missing < 0 || missing > options.mayMiss || reader.OutOfOrder() > 0 ||
                     reader.Torn() > 0 || (reader.Repeated() > 0 && !options.repeats);
  if (fails) std::cerr << faults;
  return fails ? 1 : 0;
}

int Run(Options options) {
  const std::vector<std::string>& words = options.words;
  if (words.size() == 3 && words[0] == "send") {
    options.flood.each = std::stoi(words[2]);
    return SendMessages(options);
  }
  return words.size() >= 3 && words[0] == "check" ? CheckMessages(options) : WrongUse();
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return Run(Parse(argc, argv));
  } catch (const std::logic_error&) {  // of std::stoi and Parse
    return WrongUse();
  } catch (const std::exception& e) {
    std::cerr << "numbered: " << e.what() << "\n";
    return 1;
  }
}
