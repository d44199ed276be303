// The buffered receive of a stream: steps of some bytes sent by the peer and some asked for.
#include "Fuzz.h"

void Try(const std::string& input) {
  static std::string text;
  while (text.size() < 1 << 21) text += std::to_string(text.size());
  int ends[2];
  Require(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, ends) == 0);
  qel::QELSocket socket{unsigned(ends[0])}, peer{unsigned(ends[1])};
  for (unsigned at = 3, sent = 0, taken = 0; at < input.size() && sent < 1 << 20; at += 4) {
    const auto byte = [&](std::size_t back) { return 0xFFu & unsigned(input[at - back]); };
    const int more = std::max(0, peer.AsyncSend(&text[sent], byte(0) * 16, 0));
    sent += unsigned(more);
    // Asking for more than is there would wait, but for what was sent just now.
    const unsigned pending = sent - taken, size = std::min(byte(1) * 32, more > 0 ? 8160 : pending);
    const unsigned reads = size > pending ? 1 : byte(3) & 3;
    std::string out(size, '\0');
    char* const to = byte(3) & 4 ? nullptr : out.data();
    sockaddr_in from;
    socket.m_nReadChunk = byte(2) * 16;
    const unsigned got = byte(3) & 8 ? socket.Receive(to, size, 0, reads)
                                     : socket.ReceiveFrom(to, size, from, 0, reads);
    Require(got == std::min(size, pending) && (!to || text.compare(taken, got, to, got) == 0));
    Require(socket.GetTotalNonBlockedReadBytes() == sent - (taken += got));
  }
}
