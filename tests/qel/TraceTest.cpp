#include <gtest/gtest.h>

#include <thread>

#include "Collector.h"
#include "Files.h"
#include "QELRefCount.h"
#include "QELSocket.h"
#include "QELString.h"
#include "QELTrace.h"

using namespace qel;

static std::string Bytes(std::uint32_t value) { return {reinterpret_cast<char*>(&value), 4}; }

// How a message from this thread begins.
static std::string Header() {
  return '\1' + Bytes(std::uint32_t(::getpid())) + Bytes(std::uint32_t(::pthread_self()));
}

// What a message from this thread looks like to a collector.
static std::string Datagram(const std::string& text) { return (Header() + text).append("\n\0", 2); }

TEST(Trace, TracedFirstUseMakesOneSocketPerChannel) {
  const long fresh = (g_lInitTrace == 0) + (g_lInitDiag == 0);
  const long before = CountEntries("/proc/self/fd");
  {
    std::jthread threads[8];
    for (auto& thread : threads) thread = std::jthread([] { QelLog(1, "at once"); });
  }
  EXPECT_EQ(before + fresh, CountEntries("/proc/self/fd"));
}

TEST(Trace, TracedMessagesEndInOneNewlineAndNul) {
  Collector trace("/tmp/ZABKTraceCon"), diag("/tmp/ZABKDiagCon");
  const bool fresh = g_lInitTrace == 0;
  QelTrace("ab%c", 'c');
  QelTrace("%s", std::string(30000, 'x').c_str());
  QelTrace(L"wide \u20AC");
  QelTrace(L"%ls", std::wstring(3000, L'y').c_str());
  QelTrace("%s", "");
  QelLog(5, "%d\n", 42);
  for (const auto& text : {std::string("abc"), std::string(20479, 'x'), std::string(2047, 'y'),
                           std::string("wide \xE2\x82\xAC"), std::string(), std::string("42")}) {
    EXPECT_TRUE(trace.Sees(Datagram(text))) << text.substr(0, 20);
  }
  const auto address = static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(&g_lInitTrace));
  const char* const first = "InitTraceOrDiag() - Initialized g_lInitTrace. Addr=%x";
  EXPECT_EQ(fresh, trace.Count(Datagram(QELSPrintf(first, address))));
  EXPECT_TRUE(diag.Sees(Datagram("42")));
}

TEST(Trace, TracedLogsReachTheHook) {
  static std::string hooked;
  QelSetLogFunc(+[](int level, const char* text) { hooked += std::to_string(level) + text; });
  QelLog(5, "%d\n", 42);
  QelSetLogFunc(nullptr);
  QelLog(6, "unheard");
  EXPECT_EQ("542\n", hooked);
}

TEST(Trace, TracedIsOnWhileACollectorListens) {
  EXPECT_FALSE(QelIsTraceOn());
  const Collector active("/tmp/ZABKTraceCon_Active");
  EXPECT_TRUE(QelIsTraceOn());
}

TEST(Trace, TracedCorruptSpinWordIsReportedOnceAndTaken) {
  struct Shared : CRefCountNumber {};
  Collector trace("/tmp/ZABKTraceCon");
  CLockedRefCount<Shared> slot;
  reinterpret_cast<std::uint32_t&>(slot) = 2;  // its spin word
  slot.Set(new Shared);                        // repairs it when it releases
  EXPECT_TRUE(slot.Get());
  const char* const file = "../../../QEL/Include/QELRefCount, line 236";
  EXPECT_TRUE(trace.Sees(Datagram(QELSPrintf("Assertion failed: Tid: %d, Expr: false, file %s",
                                             static_cast<int>(::pthread_self()), file))));
  QelTrace("the last message");
  EXPECT_TRUE(trace.Sees("the last message"));
  EXPECT_EQ(1, trace.Count("Assertion failed", Header()));
}

TEST(Trace, TracedSocketErrorsAreReportedOnceOrNotAtAll) {
  Collector trace("/tmp/ZABKTraceCon");
  for (const int code : {-7, 98}) {
    QELSocket socket;
    errno = code;
    EXPECT_THROW(socket.ThrowExcep(code == 98), QELSocketExcep);
    EXPECT_EQ(code, socket.m_nErrorCode);
  }
  EXPECT_TRUE(trace.Sees(Datagram("QELExcep: Error: Error (98)")));
  EXPECT_THROW(QELSocket().Select(1, 0), QELSocketExcep);
  EXPECT_TRUE(trace.Sees(Datagram("QELExcep: Error: Error (9)")));
  EXPECT_EQ(2, trace.Count("QELExcep", Header()));
}
