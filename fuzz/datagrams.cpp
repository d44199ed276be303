// Sends datagrams to a running daemon: its file must grow by the text of each, and nothing else.
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>

#include "Fuzz.h"

static const std::string g_directory = "/dev/shm/tavok-fuzz-" + std::to_string(::getpid());

// A new daemon, in place of the one before. It ends with this process.
static void StartDaemon() {
  static std::FILE* daemon;
  if (daemon != nullptr) Require(::pclose(daemon) == 0);
  daemon = ::popen(("exec " DAEMON " keep " + g_directory).c_str(), "w");
  while (!std::filesystem::exists(g_directory + "/up")) {
    Require(::waitpid(-1, nullptr, WNOHANG) == 0);
    ::usleep(1000);
  }
}

void Try(const std::string& input) {
  static qel::QELSocket sender;
  static std::ifstream log;
  // The file of one daemon must not fill the memory.
  if (static unsigned runs = 0; runs++ % 100'000 == 0) {
    StartDaemon();
    log = std::ifstream(g_directory + "/run/log/tmp.tavok");
    sender.Attach(unsigned(::socket(AF_UNIX, SOCK_DGRAM, 0)));
    Require(sender.ConnectUnix((g_directory + "/run/socket").c_str()));
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
