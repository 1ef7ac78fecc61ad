// The keys that a tag should hold, worked out from the records of its table.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "storage/base/code_page.h"
#include "storage/foxpro/cdx_tree.h"
#include "storage/foxpro/dbf_file.h"
#include "storage/foxpro/index_key.h"
#include "storage/foxpro/key_expression.h"

namespace corvix::foxpro {

class TagKeys {
 public:
  /// 3250, the text saying why, when the tag's expression is not understood. Header and page outlive the
  /// object.
  TagKeys(const Tag& tag, const DbfHeader& header, const storage::CodePage& page);

  const KeyForm& form() const { return form_; }
  /// Key of a record, valid until the next call. Empty when the tag cannot hold it: it is collated, or made
  /// for keys of another length.
  storage::ByteView KeyOf(storage::ByteView record, std::uint32_t number);
  /// Text of a record's key as a collated tag compares it: without regard to case and trailing blanks.
  std::string FoldedTextOf(storage::ByteView record, std::uint32_t number);

 private:
  const storage::CodePage& page_;
  KeyExpression expression_;
  KeyForm form_;
  KeyValue value_;
  std::vector<std::byte> key_;
};

}  // namespace corvix::foxpro
