#include "CommandLine.h"

#include <getopt.h>

#include <cstdio>
#include <cstdlib>

#include "Globals.h"

void ParseCommandLine(int argc, char** argv) {
  static const option kOptions[] = {{"config", required_argument, nullptr, 'c'},
                                    {"help", no_argument, nullptr, 'h'},
                                    {nullptr, 0, nullptr, 0}};
  for (;;) {
    switch (::getopt_long(argc, argv, "c:p:s:imbhvl:", kOptions, nullptr)) {
      case -1:
        return;
      case 'c':
        g_sConfFile = ::optarg;
        break;
      case 's':
        g_nSemId = static_cast<int>(std::strtol(::optarg, nullptr, 10));
        break;
      case 'h':
        Usage();
        std::exit(0);
      default:
        break;
    }
  }
}

void Usage() {
  std::printf("Usage : tavok [OPTIONS]\n");
  std::printf(" -c, --config          config file name (default: %s)\n", g_sConfFile.c_str());
  std::printf(" -h, --help            print this help message.\n");
}
