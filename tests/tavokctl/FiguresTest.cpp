#include <gtest/gtest.h>

#include "base/Figures.h"

TEST(Figures, AreRoundedToWhatAnOperatorReads) {
  const std::pair<std::string, std::string> cases[] = {{"0 s", Duration(0)},
                                                       {"1 min 0 s", Duration(60)},
                                                       {"2 d 3 h", Duration(183600)},
                                                       {"1023 bytes", Size(1023)},
                                                       {"1.0 KiB", Size(1024)},
                                                       {"1.0 MiB", Size((1 << 20) - 1)},
                                                       {"2048.0 TiB", Size(1ULL << 51)},
                                                       {"33 %", Percent(1, 3)},
                                                       {"", Percent(1, 0)}};
  for (const auto& [expected, text] : cases) EXPECT_EQ(expected, text);
}
