#include "report.h"

#include <nlohmann/json.hpp>

namespace {

using Json = nlohmann::ordered_json;

Json describeConnection(const Connection &connection) {
  const Peer &peer = connection.peer();
  return {{"pid", peer.pid},
          {"uid", peer.uid},
          {"command", peer.command},
          {"registered_keys", connection.interests().size()},
          {"wants_everything", connection.wantsEverything},
          {"queued_bytes", connection.outbox().changeBytes()},
          {"largest_queue_bytes", connection.outbox().largestBytes()},
          {"collapsed", connection.outbox().isCollapsed()}};
}

}  // namespace

std::string makeReport(const Hub &hub, std::chrono::seconds uptime) {
  const Counters &counters = hub.counters();
  Json connections = Json::array();
  for (const auto &[id, connection] : hub.connections())
    connections.push_back(describeConnection(*connection));
  const Json report{{"version", ORVDB_VERSION},          {"uptime_seconds", uptime.count()},
                    {"keys", hub.routes().keyCount()},   {"registered_keys", hub.routes().interestCount()},
                    {"queued_bytes", hub.queuedBytes()}, {"largest_queue_bytes", counters.largestQueue},
                    {"records_in", counters.recordsIn},  {"records_out", counters.recordsOut},
                    {"collapsed", counters.collapsed},   {"overflows", counters.overflows},
                    {"bad_records", counters.bad},       {"connections_refused", counters.refused},
                    {"connections_cut", counters.cut},   {"connections_over_keys", counters.overKeys},
                    {"resyncs", counters.resyncs},       {"connections", std::move(connections)}};
  return report.dump(2, ' ', true, Json::error_handler_t::replace) + "\n";
}
