#include "support/TempFile.hpp"

#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <system_error>

namespace support {

TempFile::TempFile()
{
    std::string pattern = (std::filesystem::temp_directory_path() / "httpfetch-test-XXXXXX").string();
    const int descriptor = mkstemp(pattern.data());
    if (descriptor < 0) {
        throw std::system_error(errno, std::generic_category(), "mkstemp");
    }
    close(descriptor);
    location = pattern;
}

TempFile::~TempFile()
{
    std::error_code ignored;
    std::filesystem::remove(location, ignored);
}

std::string TempFile::contents() const
{
    std::ifstream in(location, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

void TempFile::write(const std::string& bytes) const
{
    std::ofstream(location, std::ios::binary | std::ios::trunc) << bytes;
}

} // namespace support
