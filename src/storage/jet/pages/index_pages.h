// Where an index tree gets its pages from and gives them back to.
#pragma once

#include "storage/jet/pages/jet_format.h"

namespace corvix::jet {

class IndexPages {
 public:
  virtual ~IndexPages() = default;
  /// A page of zeros that now belongs to the index.
  virtual PageNumber Allocate() = 0;
  virtual void Release(PageNumber page) = 0;
};

}  // namespace corvix::jet
