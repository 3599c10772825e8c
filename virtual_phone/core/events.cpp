#include "virtual_phone/core/events.h"

#include "virtual_phone/core/clock.h"

namespace virtual_phone {

void record_event(Phone& phone, std::string_view kind, std::string_view detail) {
  const std::lock_guard lock(phone.mutex());
  record_event(phone.fleeting(), kind, detail);
}

void record_event(Database& database, std::string_view kind, std::string_view detail) {
  database.query("INSERT INTO event(time_us, kind, detail) VALUES(?, ?, ?)")
      .bind(now_us())
      .bind(kind)
      .bind(detail)
      .run();
}

int64_t last_event(Phone& phone) {
  const std::lock_guard lock(phone.mutex());
  Query query = phone.fleeting().query("SELECT ifnull(max(id), 0) FROM event");
  return query.step() ? query.number(0) : 0;
}

std::vector<Event> events(Phone& phone, int64_t after) {
  const std::lock_guard lock(phone.mutex());
  std::vector<Event> found;
  Query query = phone.fleeting().query(
      "SELECT id, time_us, kind, detail FROM event WHERE id > ? ORDER BY id");
  query.bind(after);
  while (query.step()) {
    found.push_back({query.number(0), query.number(1), query.text(2), query.text(3)});
  }
  return found;
}

}  // namespace virtual_phone
