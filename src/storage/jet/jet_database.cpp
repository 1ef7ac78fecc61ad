#include "storage/jet/jet_database.h"

#include <utility>

#include "common/error.h"
#include "storage/jet/jet_record_set.h"
#include "storage/jet/jet_session.h"

namespace corvix::jet {
namespace {

class JetDatabase : public core::Database {
 public:
  explicit JetDatabase(std::shared_ptr<JetSession> session) : session_(std::move(session)) {}

  std::unique_ptr<core::RecordSet> OpenTable(std::string_view name) override {
    JetFile& file = OpenFile();
    if (auto* table = file.FindTable(name)) return std::make_unique<JetRecordSet>(session_, *table);
    throw common::Error(common::kObjectNotFound, "The database has no table '" + std::string(name) + "'",
                        file.pager().path().string());
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

  JetFile& OpenFile() const {
    if (!session_->file) throw common::Error(common::kObjectInvalid, "The database has been closed");
    return *session_->file;
  }

  std::shared_ptr<JetSession> session_;
};

}  // namespace

std::shared_ptr<core::Database> OpenJetDatabase(storage::FileSystem& files, const std::filesystem::path& path,
                                                core::Access access, const RecoveryObserver& recovered) {
  auto session = std::make_shared<JetSession>();
  session->file = JetFile::Open(files, path, access, recovered);
  session->read_only = access == core::Access::ReadOnly;
  return std::make_shared<JetDatabase>(std::move(session));
}

}  // namespace corvix::jet
