#pragma once

#include <string>

#include "state/StatusReport.h"

/// The report for programs. What is not known is left out.

/// As a JSON object, one member to a line; sizes in bytes, times in seconds since 1970. Bytes that
/// are not UTF-8, as a file name may have them, become U+FFFD.
std::string JsonOf(const CStatusReport& report);

/// As metrics in the text format of Prometheus.
std::string MetricsOf(const CStatusReport& report);
