// Sends numbered messages, and counts those in a log: the oracle of the C++ tests, for those that
// are written for the shell.
//
// numbered send TO SENDERS EACH PAUSE_US FILE
//   Sends messages to TO, the path of a Unix-domain socket or a UDP port of this host: EACH from
//   each of the SENDERS, with a pause in microseconds after each. A message is a line of 100 bytes:
//   the sender's number (from 0), its own (from 0) and x's. Each is sent until it is taken, so the
//   daemon may be restarted meanwhile. It ends earlier as soon as there is such a FILE, and after
//   five minutes in any case. Prints how many each sender has sent, as `check` takes it.
//
// numbered check COUNT...
//   Reads messages from standard input; each COUNT is how many a sender has sent. Prints one line:
//     1000 whole, 0 missing, 0 repeated, 0 out of order, 0 torn
//   Whole counts each message once; a repeated one is not counted as out of order. There are -1
//   missing if there are more than were sent. Standard error tells the first fault.

#include <filesystem>
#include <iostream>
#include <iterator>

#include "Flood.h"
#include "Numbered.h"
#include "Waiting.h"

namespace {

void Send(const std::vector<std::string>& words) {
  const FloodSetup setup{.senders = std::stoul(words[2]),
                         .pauseUs = std::stoi(words[4]),
                         .each = std::stoi(words[3]),
                         .lead = LONG_MAX};
  Flood flood(words[1], setup);
  const auto begin = std::chrono::steady_clock::now();
  while (!flood.HasSentAll() && !std::filesystem::exists(words[5]) && SecondsSince(begin) < 300) {
    Nap(5);
  }
  for (const int count : flood.Stop()) std::cout << count << ' ';
  std::cout << std::endl;
}

void Count(const std::vector<std::string>& words) {
  std::vector<int> counts;
  for (std::size_t i = 1; i < words.size(); ++i) counts.push_back(std::stoi(words[i]));
  NumberedReader reader(counts.size());
  std::cerr << reader.Read(std::string(std::istreambuf_iterator<char>(std::cin), {}));
  std::cout << reader.Whole() << " whole, " << reader.Missing(counts) << " missing, "
            << reader.Repeated() << " repeated, " << reader.OutOfOrder() << " out of order, "
            << reader.Torn() << " torn" << std::endl;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    const std::vector<std::string> words(argv + 1, argv + argc);
    words.at(0) == "send" && words.size() == 6 ? Send(words) : Count(words);
  } catch (const std::exception& e) {
    std::cerr << "numbered: " << e.what() << "\n";
    return 1;
  }
}
