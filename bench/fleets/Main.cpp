#include <iostream>
#include <map>

#include "Fleet.h"

int main(int argc, char** argv) {
  const std::map<std::string, void (*)(const Words&)> commands = {
      {"send", Send}, {"brokers", RunBrokers}, {"usage", PrintUsage}, {"judge", Judge}};
  try {
    const Words words(argv + 1, argv + argc);
    commands.at(words.at(0))({words.begin() + 1, words.end()});
    std::cout.flush();
    return std::cout ? 0 : 1;
  } catch (const std::exception& e) {
    std::cerr << "fleet: " << e.what() << "\n";
    return 1;
  }
}
