#include "commands/StatusJson.h"

#include <nlohmann/json.hpp>

std::string JsonOf(const CStatusReport& report) {
  nlohmann::ordered_json json;
  json["running"] = report.process.has_value();
  if (report.process) {
    json["pid"] = report.process->pid;
    json["since"] = report.process->since;
    json["memory_bytes"] = report.process->memory;
    json["peak_memory_bytes"] = report.process->peakMemory;
    json["threads"] = report.process->threads;
    json["threads_expected"] = report.process->threadsExpected;
  } else {
    json["reason"] = report.whyNotRunning.empty() ? report.trouble : report.whyNotRunning;
  }
  json["configuration"] = report.config;
  json["listens_on"] = report.listensOn;
  if (report.queue) {
    json["queue_bytes"] = report.queue->used;
    if (report.isUdp) json["queue_limit_bytes"] = report.queue->limit;
    json["dropped_datagrams"] = report.queue->dropped;
  }
  json["current_file"] = report.currentPath;
  if (report.current) json["current_bytes"] = report.current->size;
  json["current_limit_bytes"] = report.maxFileSize;
  if (report.rotatedFiles) {
    json["rotated_files"] = *report.rotatedFiles;
    json["rotated_bytes"] = report.rotatedBytes;
  }
  json["rotated_limit_bytes"] = report.maxSize;
  if (report.oldest) json["oldest_file"] = report.oldest->name;
  if (report.oldestExpires) json["oldest_expires"] = *report.oldestExpires;
  if (report.freeBytes) {
    json["free_bytes"] = *report.freeBytes;
    json["disk_bytes"] = report.diskBytes;
  }
  if (!report.trouble.empty()) json["not_known"] = report.trouble;
  return json.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
}
