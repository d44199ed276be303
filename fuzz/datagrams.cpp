// Sends datagrams to a running daemon: its file must grow by the text of each, and nothing else.
#include <unistd.h>

#include "Fuzz.h"

void Try(const std::string& input) {
  static const std::string directory = "/dev/shm/tavok-fuzz-" + std::to_string(::getpid());
  static qel::QELSocket sender;
  static std::ifstream log;
  if (static unsigned runs = 0; runs++ % 100'000 == 0) {
    Require(std::system(("exec " DAEMON " keep " + directory).c_str()) == 0);
    log = std::ifstream(directory + "/run/log/tmp.tavok");
    sender.Attach(unsigned(::socket(AF_UNIX, SOCK_DGRAM, 0)));
    Require(sender.ConnectUnix((directory + "/run/socket").c_str()));
  }
  // SendTo sends nothing for an empty input; an empty datagram would end reception.
  const unsigned size = unsigned(input.size());
  Require(sender.SendTo(input.data(), size, static_cast<sockaddr*>(nullptr), 0, 0, 1) == size);
  std::string text = input.substr(0, 1024).c_str(), logged;
  for (int polls = 0; logged.size() < text.size() && polls < 16'000'000; ++polls) {
    logged.append(std::istreambuf_iterator<char>(log), {});
  }
  Require(logged == text);
}
