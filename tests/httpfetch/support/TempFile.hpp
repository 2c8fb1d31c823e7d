// A fresh, empty file under the temporary directory, removed on scope exit.
//
//   TempFile file;
//   runTool({"-o", file.path().string(), url});
//   file.contents();   // what httpfetch wrote
#pragma once

#include <filesystem>
#include <string>

namespace support {

class TempFile {
public:
    TempFile();
    TempFile(const TempFile&) = delete;
    TempFile& operator=(const TempFile&) = delete;
    ~TempFile();

    const std::filesystem::path& path() const { return location; }
    std::string contents() const;
    void write(const std::string& bytes) const;

private:
    std::filesystem::path location;
};

} // namespace support
