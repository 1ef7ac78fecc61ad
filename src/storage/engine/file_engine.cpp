#include "storage/engine/file_engine.h"

#include "common/host_paths.h"
#include "storage/foxpro/foxpro_record_set.h"
#include "storage/jet/check/jet_check.h"
#include "storage/jet/jet_database.h"

namespace corvix::storage {

bool FileEngine::FileExists(std::string_view file_name) { return files_.Exists(common::HostPath(file_name)); }

std::unique_ptr<core::RecordSet> FileEngine::OpenFoxProTable(std::string_view directory,
                                                             std::string_view table) {
  return foxpro::OpenFoxProTable(files_, common::HostPath(directory), table, &index_choices_);
}

std::shared_ptr<core::Database> FileEngine::OpenDatabase(std::string_view file_name) {
  return jet::OpenJetDatabase(files_, common::HostPath(file_name), core::Access::ReadWrite,
                              {.recovered = recovered_, .require_sound_table = jet::RequireSoundTable});
}

}  // namespace corvix::storage
