// Inside the sync floor: the system is not asked to write after every record of a step.
#pragma once

#include "storage/vornerdd.h"

namespace vorne {

class InBatch {
 public:
  InBatch() { bBatchOper = 1; }
  ~InBatch() { bBatchOper = before_; }
  InBatch(const InBatch&) = delete;
  InBatch& operator=(const InBatch&) = delete;

 private:
  const Boolean before_ = bBatchOper;
};

}  // namespace vorne
