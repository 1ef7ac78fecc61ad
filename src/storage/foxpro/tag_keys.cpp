#include "storage/foxpro/tag_keys.h"

#include "common/text.h"
#include "storage/foxpro/foxpro_choices.h"

namespace corvix::foxpro {

TagKeys::TagKeys(const Tag& tag, const DbfHeader& header, const storage::CodePage& page)
    : page_(page),
      expression_(tag.key, header, page),
      form_(FormOfTag(tag, expression_.type())),
      key_(form_.length) {}

storage::ByteView TagKeys::KeyOf(storage::ByteView record, std::uint32_t number) {
  expression_.Evaluate(record, number, value_);
  const bool is_cut = value_.type == KeyType::Text && TextOfField(value_.text).size() > form_.OwnLength();
  if (is_cut || !EncodeKey(form_, value_, key_)) return {};
  return key_;
}

std::string TagKeys::FoldedTextOf(storage::ByteView record, std::uint32_t number) {
  expression_.Evaluate(record, number, value_);
  return common::UpperCase(common::TrimRight(page_.ToUtf8(value_.text)));
}

}  // namespace corvix::foxpro
