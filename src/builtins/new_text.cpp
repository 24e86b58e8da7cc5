#include "builtins/new_text.h"

#include <algorithm>
#include <cstring>

namespace vorne {

Obj_Node* AdoptText(TextBuffer buffer, int lengthField) {
  Obj_Node* n = __CheckStack();
  n->objVarType = varString;
  n->objLength = lengthField;
  n->objData = {};
  n->objData.mbuff = buffer.release();
  return n;
}

NewText::NewText(std::int64_t content, std::int64_t lengthField) {
  const std::int64_t room = std::max(content + 1, lengthField);
  if (room > kLargestText) __RuntimeError(5, -1);
  buffer_.reset(static_cast<char*>(Allocate(static_cast<std::size_t>(room) + 1)));
  end_ = buffer_.get();
  lengthField_ = static_cast<int>(lengthField);
}

NewText& NewText::Add(std::string_view part, std::int64_t times) {
  if (part.empty() || times < 1) return *this;
  if (part.size() == 1) {
    std::memset(end_, part[0], static_cast<std::size_t>(times));
    end_ += times;
    return *this;
  }
  for (; times > 0; --times) {
    std::memcpy(end_, part.data(), part.size());
    end_ += part.size();
  }
  return *this;
}

Obj_Node* MakeText(std::string_view content, std::int64_t lengthField) {
  return NewText(static_cast<std::int64_t>(content.size()), lengthField).Add(content).Give();
}

Obj_Node* MakeText(std::string_view content) {
  return MakeText(content, static_cast<std::int64_t>(content.size()) + 1);
}

}  // namespace vorne
