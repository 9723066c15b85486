// A change that nobody has registered for, up to the socket.
#include "core/change_report.h"
#include "works.h"

void addReportWork(std::vector<Work> &works, Surroundings &surroundings) {
  works.push_back({"report of a change, nobody registered",
                   "141 bytes to a reading process",
                   {},
                   [handle = surroundings.handle.get()](std::size_t count) {
                     for (std::size_t i = 0; i < count; ++i)
                       report_change(handle, "work", ORV_DB_ACTION_INSERT, i);
                   },
                   [&surroundings](std::size_t count) {
                     for (std::size_t i = 0; i < count; ++i)
                       surroundings.listener.socket().announce(surroundings.db, "work", ORV_DB_ACTION_INSERT, i);
                   }});
}
