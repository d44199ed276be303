#pragma once

/// Marker at the root of the library's object classes (exceptions, synchronisation objects,
/// sockets, threads). It has no fields and no operations; each derived class brings its own virtual
/// table.
class QELObject {};
