#include <atomic>
#include <cstdio>
#include <memory>
#include <string>

#include "Piece.h"
#include "QELRefCount.h"
#include "QELString.h"

namespace {

struct Counted : CRefCountNumber {};

void AddHandles() {
  Piece("HandleCopyAndDrop",
        [] { return [handle = CRefCount<Counted>(new Counted)] { return handle; }; });
  Piece("HandleCopyAndDrop_SharedPtr",
        [] { return [handle = std::make_shared<int>(1)] { return handle; }; });
  Piece("LockedHandleGet", [] {
    static CLockedRefCount<Counted> slot;
    slot.Set(new Counted);
    return [] { return slot.Get(); };
  });
  Piece("LockedHandleGet_AtomicSharedPtr", [] {
    static const std::atomic<std::shared_ptr<int>> slot(std::make_shared<int>(1));
    return [] { return slot.load(); };
  });
}

constexpr const char* kDirectory = "/var/log/tavok/";
constexpr const char* kStamp = "20240131_235959";

std::string PlainlyFormatted() {
  char text[256];
  (void)std::snprintf(text, sizeof text, "%s%s%s.log", kDirectory, "tavok_", kStamp);
  return text;
}

}  // namespace

void AddLibraryPieces() {
  AddHandles();
  Piece("Format",
        [] { return [] { return qel::QELSPrintf("%s%s%s.log", kDirectory, "tavok_", kStamp); }; });
  Piece("Format_Snprintf", [] { return PlainlyFormatted; });
}
