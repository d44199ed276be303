#include <nlohmann/json.hpp>

#include "commands/StatusFormats.h"

namespace {

using Json = nlohmann::ordered_json;

void AddProcess(const CStatusReport& report, Json& json) {
  if (!report.process) {
    json["reason"] = report.reason;
    return;
  }
  const CProcessState& process = *report.process;
  json["pid"] = process.pid;
  json["since"] = process.since.tv_sec;
  if (process.unit) json["held_by"] = process.unit->empty() ? Json() : Json(*process.unit);
  json["memory_bytes"] = process.memory;
  json["peak_memory_bytes"] = process.peakMemory;
  json["threads"] = process.threads;
  json["threads_expected"] = process.threads + (process.isReceiving == false ? 1 : 0);
}

void AddSocket(const CStatusReport& report, Json& json) {
  if (!report.listensOn.empty()) json["listens_on"] = report.listensOn;
  if (!report.socket) return;
  json["queue_bytes"] = report.socket->used;
  if (report.isUdp) json["queue_limit_bytes"] = report.socket->limit;
  json["dropped_datagrams"] = report.socket->dropped;
}

void AddFiles(const CStatusReport& report, Json& json) {
  if (!report.currentPath.empty()) json["current_file"] = report.currentPath;
  if (report.current) {
    json["current_bytes"] = report.current->size;
    json["last_write"] = report.current->written;
  }
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
}

}  // namespace

std::string JsonOf(const CStatusReport& report) {
  Json json;
  json["running"] = report.running ? Json(*report.running) : Json();
  json["health"] = NameOf(report.Health());
  json["problems"] = Json::array();
  for (const CProblem* const problem : report.problems) json["problems"].push_back(problem->id);
  AddProcess(report, json);
  json["configuration"] = report.config;
  if (report.isConfigRead) {
    AddSocket(report, json);
    AddFiles(report, json);
  }
  if (!report.pidFileTrouble.empty()) json["pid_file"] = report.pidFileTrouble;
  if (!report.notKnown.empty()) json["not_known"] = report.notKnown;
  return json.dump(2, ' ', false, Json::error_handler_t::replace);
}
