#include "frame/row.h"

#include <nlohmann/json.hpp>

NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(Spread, median, low, high)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(Place, curve, xName, x)

NLOHMANN_JSON_SERIALIZE_ENUM(Aim::Of, {{Aim::kNothing, nullptr}, {Aim::kRatio, "ratio"}, {Aim::kLibrary, "library"}})

namespace {

void write(nlohmann::json &json, const char *key, const std::optional<Spread> &spread) {
  if (spread) json[key] = *spread;
}

std::optional<Spread> read(const nlohmann::json &json, const char *key) {
  return json.contains(key) ? std::optional<Spread>(json.at(key).get<Spread>()) : std::nullopt;
}

}  // namespace

void to_json(nlohmann::json &json, const Row &row) {
  const Subject &subject = row.subject;
  json = {{"group", row.group},     {"work", subject.work},     {"unit", subject.unit},
          {"library", row.library}, {"pairs", row.pairs},       {"reference_is", subject.reference},
          {"place", subject.place}, {"aim_of", subject.aim.of}, {"aim", subject.aim.most}};
  write(json, "reference", row.reference);
  write(json, "ratio", row.ratio);
}

void from_json(const nlohmann::json &json, Row &row) {
  json.at("group").get_to(row.group);
  json.at("work").get_to(row.subject.work);
  json.at("unit").get_to(row.subject.unit);
  json.at("reference_is").get_to(row.subject.reference);
  json.at("place").get_to(row.subject.place);
  json.at("aim_of").get_to(row.subject.aim.of);
  json.at("aim").get_to(row.subject.aim.most);
  json.at("library").get_to(row.library);
  json.at("pairs").get_to(row.pairs);
  row.reference = read(json, "reference");
  row.ratio = read(json, "ratio");
}
