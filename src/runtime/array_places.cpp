// The chain is what counts; the places are a copy of its beginning that grows as elements are asked for and is cut
// whenever the chain changes before its end.
#include "runtime/array_places.h"

#include <algorithm>
#include <cstring>

#include "runtime/memory.h"

namespace vorne {

namespace {

// What callers see as the header. The places of the first `known` elements are written down as they are asked for.
struct PlacedArrays : Arrays {
  Obj_Node** places;
  int known;
  int room;
};

// Nearer elements are found by walking.
constexpr int kNear = 16;

bool makeRoom(PlacedArrays& header, int wanted) {
  if (wanted <= header.room) return true;
  // Doubled, so that an array that grows element by element copies its places a few times only.
  const int room = std::max({wanted, 2 * header.room, 4 * kNear});
  auto** places = static_cast<Obj_Node**>(TryAllocate(static_cast<std::size_t>(room) * sizeof(Obj_Node*)));
  if (places == nullptr) return false;
  if (header.known > 0) std::memcpy(places, header.places, static_cast<std::size_t>(header.known) * sizeof(Obj_Node*));
  Release(header.places);
  header.places = places;
  header.room = room;
  return true;
}

Obj_Node* walk(Obj_Node* element, int steps) {
  for (; steps > 0 && element != nullptr; --steps) element = element->objpNext;
  return element;
}

}  // namespace

Arrays* NewArrayHeader() {
  return static_cast<PlacedArrays*>(Allocate(sizeof(PlacedArrays)));
}

void ReleaseArrayHeader(Arrays* header) {
  if (header == nullptr) return;
  Release(static_cast<PlacedArrays*>(header)->places);
  Release(static_cast<PlacedArrays*>(header));
}

Obj_Node* ElementAt(const Arrays& header, int i) {
  // Headers are made by NewArrayHeader alone; what is written down is no part of the array's value.
  auto& placed = const_cast<PlacedArrays&>(static_cast<const PlacedArrays&>(header));
  if (i < placed.known) return placed.places[i];
  // Without memory for the places the walk still finds it, only later.
  if (i < kNear || !makeRoom(placed, header.amntItens)) return walk(header.pFirst, i);
  Obj_Node* element = placed.known == 0 ? header.pFirst : placed.places[placed.known - 1]->objpNext;
  for (; element != nullptr && placed.known <= i; element = element->objpNext) placed.places[placed.known++] = element;
  return i < placed.known ? placed.places[i] : nullptr;
}

void ForgetPlaces(Arrays& header, int first) {
  auto& placed = static_cast<PlacedArrays&>(header);
  placed.known = std::min(placed.known, std::max(first, 0));
}

}  // namespace vorne
