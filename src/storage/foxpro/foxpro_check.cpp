#include "storage/foxpro/foxpro_check.h"

#include <algorithm>
#include <fmt/format.h>
#include <memory>
#include <optional>

#include "common/error.h"
#include "core/text_form.h"
#include "storage/foxpro/check_findings.h"
#include "storage/foxpro/dbf_value.h"
#include "storage/foxpro/foxpro_choices.h"
#include "storage/foxpro/index_check.h"
#include "storage/foxpro/table_files.h"

namespace corvix::foxpro {
namespace {

/// Damage is a finding; everything else (a failing disk, say) goes on to the caller.
bool IsDamage(const common::Error& error) {
  return error.number() == common::kDamagedDatabase || error.number() == common::kUnrecognizedFormat ||
         error.number() == common::kCompanionFileMissing;
}

/// Findings name files without their directory: the one that was asked for.
std::string FileName(const std::filesystem::path& path) { return path.filename().string(); }

class TableCheck {
 public:
  TableCheck(storage::FileSystem& files, const TableFiles& paths) : files_(files), paths_(paths) {}

  TableReport Run() {
    try {
      table_ = std::make_unique<DbfFile>(files_.Open(paths_.table, storage::OpenMode::Read),
                                         FileName(paths_.table));
      CheckHeader();
      OpenMemo();
      reader_.emplace(table_->header(), *page_, memo_ ? &*memo_ : nullptr);
      CheckRecords();
      CheckMemoSpace();
      CheckIndexFile();
    } catch (const common::Error& error) {
      if (!IsDamage(error)) throw;
      findings_.Problem("table", error.place(), error.text());
    }
    report_.findings = findings_.Take();
    return std::move(report_);
  }

 private:
  std::string Place() const { return table_->place(); }

  void CheckHeader() {
    const DbfHeader& header = table_->header();
    report_.facts.version = static_cast<std::uint8_t>(header.version);
    report_.facts.language_driver = header.language_driver;
    report_.facts.code_page = CodePageOfTable(header.language_driver);
    report_.facts.records = table_->RecordCount();
    page_ = std::make_unique<storage::CodePage>(report_.facts.code_page);
    if (table_->HeldRecords() < header.promised_records) {
      findings_.Problem("table", Place(),
                        fmt::format("the header promises {} records, the file holds {}: it is cut off",
                                    header.promised_records, table_->HeldRecords()));
    } else if (table_->UncountedRecords() > 0) {
      findings_.Problem("table", Place(),
                        fmt::format("the header counts {} records, the file holds {}: all are read",
                                    header.promised_records, table_->RecordCount()));
    } else if (table_->HeldRecords() > header.promised_records) {
      findings_.Note("table", Place(), "what lies behind the last record is no record and not read");
    }
    if (table_->TornBytes() > 0) {
      findings_.Problem("table", Place(),
                        fmt::format("the file ends with the first {} bytes of a record, which cannot be read",
                                    table_->TornBytes()));
    }
    if (!header.has_terminator) findings_.Note("table", Place(), "the field list has no end mark");
    const auto stated = storage::CodePageOfLanguageDriver(header.language_driver);
    if (header.language_driver != 0 && stated != report_.facts.code_page) {
      findings_.Note("table", Place(),
                     fmt::format("language driver 0x{:02X} has no code page here; texts are read as page {}",
                                 header.language_driver, report_.facts.code_page));
    }
  }

  void OpenMemo() {
    try {
      memo_ = OpenMemoFile(files_, paths_, table_->header());
    } catch (const common::Error& error) {
      if (!IsDamage(error)) throw;
      findings_.Problem("memo file", error.place(), error.text());
    }
  }

  void CheckRecords() {
    for (std::uint32_t number = 1; number <= table_->RecordCount(); ++number) {
      const storage::ByteView bytes = table_->Record(number);
      const char mark = static_cast<char>(bytes[0]);
      if (IsHidden(mark)) {
        ++report_.facts.deleted;
      } else if (mark != kLiveMark) {
        findings_.Problem("deletion marks", fmt::format("{}, record {}", Place(), number),
                          fmt::format("the deletion mark is 0x{:02X}; the record is read as live",
                                      static_cast<unsigned char>(mark)));
      }
      for (const DbfField& field : table_->header().fields) CheckField(number, field, bytes);
    }
  }

  void CheckField(std::uint32_t number, const DbfField& field, storage::ByteView record) {
    const std::string_view raw = RawField(field, record);
    if (IsMemoField(field, table_->header().version)) return CheckMemo(number, field, raw);
    const std::string kind = "values of field " + field.name;
    const auto place = [&] { return fmt::format("{}, record {}, field {}", Place(), number, field.name); };
    if (const auto text = reader_->UnreadableText(field, record)) {
      const core::Value value = reader_->Read(field, record);
      findings_.Problem(kind, place(),
                        fmt::format("'{}' is no value of type {}, read as {}", *text, field.type,
                                    core::IsNull(value) ? "Null" : core::ToText(value)));
    } else if ((field.type == 'N' || field.type == 'F') && ParseNumber(raw).form == FieldNumber::Form::Odd) {
      findings_.Note(kind + ": forms", place(),
                     fmt::format("a number in an unusual form: '{}'", page_->ToUtf8(raw)));
    }
  }

  void CheckMemo(std::uint32_t number, const DbfField& field, std::string_view raw) {
    const auto problem = [&](std::string text) {
      findings_.Problem("memos", fmt::format("{}, record {}, field {}", Place(), number, field.name),
                        std::move(text));
    };
    const auto block = MemoBlock(raw);
    if (!block) return problem("the bytes are no block number, the memo is read as Null");
    if (*block == 0 || !memo_) return;
    try {
      const MemoExtent extent = memo_->Extent(*block);
      ++report_.facts.memos;
      if (extent.end > memo_->size()) {
        problem(fmt::format("the memo at block {} should end at {}, the memo file has {} bytes", *block,
                            extent.end, memo_->size()));
      }
      extents_.push_back(extent);
    } catch (const common::Error& error) {
      if (!IsDamage(error)) throw;
      problem(error.text());
    }
  }

  void CheckMemoSpace() {
    if (!memo_ || extents_.empty()) return;
    std::ranges::sort(extents_, {}, &MemoExtent::begin);
    std::uint64_t end = 0;
    for (const MemoExtent& extent : extents_) {
      if (extent.begin < end) {
        findings_.Problem(
            "memo space", FileName(memo_->place()),
            fmt::format("the memo at {} lies inside another one that ends at {}", extent.begin, end));
      }
      end = std::max(end, extent.end);
    }
    if (std::uint64_t{memo_->next_free()} * memo_->block_size() < end) {
      findings_.Problem(
          "memo space", FileName(memo_->place()),
          fmt::format("the next free block {} lies inside a memo that ends at {}", memo_->next_free(), end));
    }
  }

  void CheckIndexFile() {
    const bool promised = table_->header().HasStructuralIndex();
    if (!paths_.index) {
      if (promised) {
        findings_.Problem("index", Place(),
                          fmt::format("the index file {} is missing; copy it from where the table came from",
                                      paths_.FileName(".CDX")));
      }
      return;
    }
    if (!promised) {
      findings_.Note(
          "index", Place(),
          "an index file lies beside the table, but the header does not count on it: it may be out of date");
    }
    try {
      CdxFile index(files_.Open(*paths_.index, storage::OpenMode::Read), FileName(*paths_.index));
      report_.facts.tags = CheckIndex(index, *table_, *page_, findings_);
    } catch (const common::Error& error) {
      if (!IsDamage(error)) throw;
      findings_.Problem("index", error.place(), error.text());
    }
  }

  storage::FileSystem& files_;
  const TableFiles& paths_;
  std::unique_ptr<DbfFile> table_;
  std::unique_ptr<storage::CodePage> page_;
  std::optional<MemoFile> memo_;
  std::optional<FieldReader> reader_;
  std::vector<MemoExtent> extents_;
  FindingList findings_;
  TableReport report_;
};

}  // namespace

bool TableReport::HasProblems() const {
  return std::ranges::any_of(
      findings, [](const Finding& finding) { return finding.severity == Finding::Severity::Problem; });
}

TableReport CheckTable(storage::FileSystem& files, const std::filesystem::path& directory,
                       std::string_view table) {
  const TableFiles paths = FindTableFiles(files, directory, table);
  return TableCheck(files, paths).Run();
}

}  // namespace corvix::foxpro
