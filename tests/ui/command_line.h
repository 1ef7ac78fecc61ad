// The other program, to compare with what the window stores.
#pragma once

#include <array>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>

namespace corvix::test {

/// What corvix-cli prints when it is started with these arguments and given these answers, a line each.
inline std::string CommandLine(const std::string& arguments, const std::string& answers = "") {
  const std::string command = "'" CORVIX_CLI "' 2>/dev/null " + arguments + " <<'end'\n" + answers + "end\n";
  const std::unique_ptr<FILE, int (*)(FILE*)> pipe(::popen(command.c_str(), "r"), ::pclose);
  std::string output;
  std::array<char, 65536> buffer;
  for (std::size_t n; (n = std::fread(buffer.data(), 1, buffer.size(), pipe.get())) > 0;)
    output.append(buffer.data(), n);
  return output;
}

/// The rows of COMPS, a JSON object a line; nothing when another program has the database.
inline std::string RowsOf(const std::filesystem::path& directory) {
  return CommandLine("dump '" + (directory / "FOLVANE.MDB").string() + "' COMPS");
}

}  // namespace corvix::test
