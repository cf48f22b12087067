#pragma once

#include "vesko/export.h"
#include "vesko/vesko3/time.h"

namespace Tovra::Vesko {

/// Says which version of a library this is, and when it was built.
///
/// A library defines one as a static object and hands it the texts that its build stamps in. It is
/// a plain record of fixed layout: it owns nothing, and copies are independent.
/// Threads: nothing changes it after construction but an assignment. `appDate` has no lock: set it
/// before other threads read it.
class VESKO_API CVersion {
public:
    /// Reads the texts of the build. What cannot be read is 0 in the record; a null text reads as
    /// the empty one.
    /// @param name     the first 31 characters are kept
    /// @param revision the number at its start, or behind a leading run of dollar signs, letters
    ///                 and colons and any blanks: "1234", "1234M", "$Rev: 1234 $"
    /// @param date     month, day and year as the compiler's date macro writes them: "Jul 16 2018".
    ///                 An unknown month is number 13.
    CVersion(const char* name, int major, int minor, int patch, const char* revision,
             const char* date);
    CVersion(const CVersion&) = default;

    /// Copies all fields.
    CVersion& operator=(const CVersion& other) = default;

    /// Logs the record as one line, at level 4 (info).
    void print() const;

    /// Sets year, month and day of `appDate`. A day or year that cannot be read stays as it is.
    /// @param date as for the constructor
    static void setAppDate(const char* date);

    /// The build date of the application. 2000-01-01 until `setAppDate` is called.
    static SystemTime appDate;

    char name[32];  ///< always ends in a zero
    int major;
    int minor;
    int patch;
    int revision;
    SystemTime date;  ///< year, month and day alone; the other fields are 0
};

}  // namespace Tovra::Vesko
