#pragma once

#include <cstddef>
#include <string>

namespace TreeSum {

/// A file that is read from its start to its end; "-" is standard input.
///
/// Reads through the library's table of file operations. Owns the open file, but not standard
/// input.
/// Units: sizes are bytes.
class InputFile {
public:
    /// Opens the file. `error` tells whether that worked.
    explicit InputFile(const std::string& path);
    ~InputFile();
    InputFile(const InputFile&) = delete;
    InputFile& operator=(const InputFile&) = delete;

    /// Reads the next bytes.
    /// @return fewer than `size` only at the end of the file or on an error
    std::size_t read(void* buffer, std::size_t size);

    /// Reads the next line, of any length and with any bytes.
    /// @param line receives the text without its line feed
    /// @return false at the end of the file or on an error
    bool readLine(std::string& line);

    /// @return the `errno` value of the first failure; 0 while there is none
    int error() const { return m_error; }

private:
    void noteError();

    void* m_file;  // of the table; null when the file could not be opened
    int m_error = 0;
};

}  // namespace TreeSum
