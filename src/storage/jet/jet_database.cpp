#include "storage/jet/jet_database.h"

#include <utility>

#include "common/error.h"
#include "storage/jet/jet_record_set.h"
#include "storage/jet/jet_session.h"

namespace corvix::jet {
namespace {

class JetDatabase : public core::Database {
 public:
  JetDatabase(std::shared_ptr<JetSession> session, SoundnessCheck require_sound_table)
      : session_(std::move(session)), require_sound_table_(std::move(require_sound_table)) {}

  std::unique_ptr<core::RecordSet> OpenTable(std::string_view name) override {
    return std::make_unique<JetRecordSet>(session_, RequireTable(name));
  }

  void RequireSound(std::string_view name) override {
    jet::OpenTable& table = RequireTable(name);
    if (table.is_known_sound() || !require_sound_table_) return;
    require_sound_table_(session_->file->pager(), table.name());
    table.KnowSound();
  }

  void Checkpoint() override { OpenFile().Checkpoint(); }
  void CheckpointWhenDue() override { OpenFile().CheckpointWhenDue(); }

  std::int64_t Checkpoints() const override { return session_->file ? session_->file->checkpoints() : 0; }

  void Close() override {
    if (!session_->file) return;
    try {
      session_->file->Checkpoint();
    } catch (const common::Error& error) {
      // A database that was replaced meanwhile never takes the changes; whatever else failed can be mended.
      if (error.number() == common::kDamagedDatabase) Disconnect();
      throw;
    }
    Disconnect();
  }
  void Abandon() override {
    if (!session_->file) return;
    session_->file->Abandon();
    Disconnect();
  }

 private:
  void Disconnect() {
    for (JetRecordSet* records : session_->record_sets) records->Disconnect();
    session_->record_sets.clear();
    session_->file.reset();
  }

  jet::OpenTable& RequireTable(std::string_view name) const {
    JetFile& file = OpenFile();
    if (auto* table = file.FindTable(name)) return *table;
    throw common::Error(common::kObjectNotFound, "The database has no table '" + std::string(name) + "'",
                        file.pager().path().string());
  }

  JetFile& OpenFile() const {
    if (!session_->file) throw common::Error(common::kObjectInvalid, "The database has been closed");
    return *session_->file;
  }

  std::shared_ptr<JetSession> session_;
  SoundnessCheck require_sound_table_;
};

}  // namespace

std::shared_ptr<core::Database> OpenJetDatabase(storage::FileSystem& files, const std::filesystem::path& path,
                                                core::Access access, OpenHooks hooks) {
  auto session = std::make_shared<JetSession>();
  session->file = JetFile::Open(files, path, access, hooks.recovered);
  session->read_only = access == core::Access::ReadOnly;
  return std::make_shared<JetDatabase>(std::move(session), std::move(hooks.require_sound_table));
}

}  // namespace corvix::jet
