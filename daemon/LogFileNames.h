#pragma once

/// Names in the log directory.

/// The current file.
inline constexpr const char* kCurrentName = "tmp.tavok";

/// What the name of a rotated file begins with, before its UTC stamp and ".log".
inline constexpr const char* kRotatedPrefix = "tavok_";

/// The form of the stamp, for strftime.
inline constexpr const char* kRotatedStamp = "%Y%m%d_%H%M%S";

/// Whatever has this in its name, anywhere, counts as a rotated file and is deleted in its turn.
inline constexpr const char* kRotatedMark = kRotatedPrefix;
