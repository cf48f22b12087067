#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <string_view>

namespace Tovra::Testing {

/// A directory of its own for one test, removed with all that is in it.
class TemporaryDirectory {
public:
    TemporaryDirectory() {
        std::string path = (std::filesystem::temp_directory_path() / "vesko-XXXXXX").string();
        if (::mkdtemp(path.data()) == nullptr) throw std::runtime_error("no temporary directory");
        m_path = path;
    }
    ~TemporaryDirectory() {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

    /// @return the full path of a name in the directory; the directory itself for the empty name
    std::string path(std::string_view name = {}) const {
        return name.empty() ? m_path : m_path + "/" + std::string(name);
    }

    /// Makes a file with this content.
    /// @return its full path
    std::string write(std::string_view name, std::string_view content) const {
        std::ofstream(path(name), std::ios::binary) << content;
        return path(name);
    }

    /// @return the content of a file
    std::string read(std::string_view name) const {
        std::ifstream file(path(name), std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

private:
    std::string m_path;
};

}  // namespace Tovra::Testing
