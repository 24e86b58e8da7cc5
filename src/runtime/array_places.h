// Where the elements of an array are, beside its chain: finding one by its number takes no walk.
#pragma once

#include "runtime/internal.h"

namespace vorne {

/// An empty header. Error 5.
Arrays* NewArrayHeader();
/// Null is ignored.
void ReleaseArrayHeader(Arrays* header);

/// Element `i`, counted from 0, which the array must have; null for a chain that is shorter than its count.
Obj_Node* ElementAt(const Arrays& header, int i);
/// To be called before elements from `first` on are taken out, put in or moved.
void ForgetPlaces(Arrays& header, int first);

}  // namespace vorne
