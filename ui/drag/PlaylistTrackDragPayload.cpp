#include "ui/drag/PlaylistTrackDragPayload.h"

#include <nlohmann/json.hpp>

namespace tolvane {

namespace {

std::optional<std::string> textMember(const nlohmann::json& object, const char* key) {
  const auto found = object.find(key);
  if (found == object.end() || !found->is_string()) return std::nullopt;
  return found->get<std::string>();
}

std::optional<Uuid> uuidMember(const nlohmann::json& object, const char* key) {
  const auto text = textMember(object, key);
  return text ? Uuid::parse(*text) : std::nullopt;
}

}  // namespace

std::string PlaylistTrackDragPayload::encoded() const {
  // Text that is not UTF-8 could not be encoded; the kind is ours, and identities are ASCII.
  return nlohmann::ordered_json{{"kind", kind}, {"sessionID", sessionID.string()}, {"trackID", trackID.string()}}
      .dump();
}

std::optional<PlaylistTrackDragPayload> PlaylistTrackDragPayload::decode(std::string_view json) {
  const auto object = nlohmann::json::parse(json, nullptr, false);
  if (!object.is_object()) return std::nullopt;
  auto kind = textMember(object, "kind");
  const auto sessionID = uuidMember(object, "sessionID");
  const auto trackID = uuidMember(object, "trackID");
  if (!kind || !sessionID || !trackID) return std::nullopt;
  return PlaylistTrackDragPayload{std::move(*kind), *sessionID, *trackID};
}

}  // namespace tolvane
