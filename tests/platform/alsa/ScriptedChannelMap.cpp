#include "tests/platform/alsa/ScriptedChannelMap.h"

#include <cstdlib>
#include <cstring>

namespace tolvane {
namespace {

ScriptedChannelMap* current = nullptr;

/// In memory of its own that free() takes.
snd_pcm_chmap_t* writeMap(void* memory, const std::vector<unsigned>& positions) {
  auto* map = static_cast<snd_pcm_chmap_t*>(memory);
  map->channels = static_cast<unsigned>(positions.size());
  std::memcpy(map->pos, positions.data(), positions.size() * sizeof(unsigned));
  return map;
}

}  // namespace

ScriptedChannelMap::ScriptedChannelMap() { current = this; }
ScriptedChannelMap::~ScriptedChannelMap() { current = nullptr; }

}  // namespace tolvane

using tolvane::current;

extern "C" {

snd_pcm_chmap_t* snd_pcm_get_chmap(snd_pcm_t* /*pcm*/) {
  if (current == nullptr || current->map.empty()) return nullptr;
  return tolvane::writeMap(std::malloc(sizeof(unsigned) * (1 + current->map.size())), current->map);
}

snd_pcm_chmap_query_t** snd_pcm_query_chmaps(snd_pcm_t* /*pcm*/) {
  if (current == nullptr || current->offers.empty()) return nullptr;
  const std::size_t count = current->offers.size();
  auto** queries = static_cast<snd_pcm_chmap_query_t**>(std::calloc(count + 1, sizeof(snd_pcm_chmap_query_t*)));
  for (std::size_t i = 0; i < count; ++i) {
    const auto& offer = current->offers[i];
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
  current->sets.emplace_back(map->pos, map->pos + map->channels);
  if (current->setAnswer >= 0) current->map = current->sets.back();
  return current->setAnswer;
}

}  // extern "C"
