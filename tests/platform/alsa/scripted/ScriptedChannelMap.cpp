#include "tests/platform/alsa/scripted/ScriptedChannelMap.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace tolvane {
namespace {

ScriptedChannelMap* currentMap = nullptr;

/// In memory of its own that free() takes.
snd_pcm_chmap_t* writeMap(void* memory, const std::vector<unsigned>& positions) {
  auto* map = static_cast<snd_pcm_chmap_t*>(memory);
  map->channels = static_cast<unsigned>(positions.size());
  std::memcpy(map->pos, positions.data(), positions.size() * sizeof(unsigned));
  return map;
}

}  // namespace

ScriptedChannelMap::ScriptedChannelMap() { currentMap = this; }
ScriptedChannelMap::~ScriptedChannelMap() { currentMap = nullptr; }

}  // namespace tolvane

using tolvane::currentMap;

extern "C" {

snd_pcm_chmap_t* snd_pcm_get_chmap(snd_pcm_t* /*pcm*/) {
  if (currentMap == nullptr || currentMap->map.empty()) return nullptr;
  return tolvane::writeMap(std::malloc(sizeof(unsigned) * (1 + currentMap->map.size())), currentMap->map);
}

snd_pcm_chmap_query_t** snd_pcm_query_chmaps(snd_pcm_t* /*pcm*/) {
  if (currentMap == nullptr || currentMap->offers.empty()) return nullptr;
  const std::size_t count = currentMap->offers.size();
  auto** queries = static_cast<snd_pcm_chmap_query_t**>(std::calloc(count + 1, sizeof(snd_pcm_chmap_query_t*)));
  for (std::size_t i = 0; i < count; ++i) {
    const auto& offer = currentMap->offers[i];
    queries[i] = static_cast<snd_pcm_chmap_query_t*>(std::malloc(sizeof(unsigned) * (2 + offer.positions.size())));
    queries[i]->type = offer.type;
    tolvane::writeMap(&queries[i]->map, offer.positions);
  }
  return queries;
}

void snd_pcm_free_chmaps(snd_pcm_chmap_query_t** queries) {
  for (snd_pcm_chmap_query_t** query = queries; *query != nullptr; ++query) std::free(*query);
  std::free(queries);
}

int snd_pcm_set_chmap(snd_pcm_t* /*pcm*/, const snd_pcm_chmap_t* map) {
  currentMap->sets.emplace_back(map->pos, map->pos + map->channels);
  if (currentMap->setAnswer >= 0) currentMap->map = currentMap->sets.back();
  return currentMap->setAnswer;
}

int snd_ctl_open(snd_ctl_t** control, const char* name, int /*mode*/) {
  if (currentMap == nullptr || !currentMap->openControl.empty()) return -EBUSY;
  currentMap->openControl = name;
  *control = reinterpret_cast<snd_ctl_t*>(currentMap);
  return 0;
}

int snd_ctl_close(snd_ctl_t* /*control*/) {
  currentMap->openControl.clear();
  return 0;
}

int snd_ctl_elem_read(snd_ctl_t* /*control*/, snd_ctl_elem_value_t* value) {
  ++currentMap->controlReads;
  const bool isMap = snd_ctl_elem_value_get_interface(value) == SND_CTL_ELEM_IFACE_PCM &&
                     std::strcmp(snd_ctl_elem_value_get_name(value), "Playback Channel Map") == 0;
  const auto found = currentMap->controls.find(
      {currentMap->openControl, snd_ctl_elem_value_get_device(value), snd_ctl_elem_value_get_index(value)});
  if (!isMap || found == currentMap->controls.end()) return -ENOENT;
  for (std::size_t i = 0; i < found->second.size(); ++i)
    snd_ctl_elem_value_set_integer(value, static_cast<unsigned>(i), found->second[i]);
  return 0;
}

}  // extern "C"
