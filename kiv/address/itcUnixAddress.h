/// \file
/// Unix-domain addresses: paths of socket files.
#pragma once

#include <kiv/address/itcAddress.h>

/// The endpoint of a local stream, named by a path in the file system.
///
/// \par Threads  One thread at a time per object.
/// \par Errors   Nothing throws. set() tells success and leaves the reason in `status`; after a constructor test
///               `status.severity`. Do not use an address whose path was refused.
class KIV_EXPORT itcUnixAddress : public itcAddress {
public:
    /// The longest path, without its terminating zero. A constant to the compiler, and a symbol of the library too: hosts
    /// look it up by name.
    static const int Max_SockUnix_Pathlen = 107;

    /// Asks for a generated path. Known by its address and not by its content: any other empty string is an empty path.
    static const char* const Temp;

    /// No path: the status is (`Itc_Tp_No_Path_Given`, Warning), with whatever error number is pending.
    itcUnixAddress();
    explicit itcUnixAddress(const char* path); ///< set(path)

    /// Stores a path.
    ///
    /// Null and #Temp ask for a fresh name in the system's directory for temporary files. It is tmpnam() that makes it:
    /// in static storage, so this is for one thread at a time in the whole process. Nothing keeps the name free until it
    /// is bound, so where others may write, give a path in a directory of your own. The resolver is asked about every
    /// path, and its calls are traced; it takes "*" for no path at all (say "./*").
    /// \return true when `status.severity` is Success afterwards; false with (`Itc_Tp_Path_Too_Long`, Error), when the
    ///         path is too long, or the resolver fails on it, or the system has no name.
    bool set(const char* path);

    /// Formats a path and stores it, as set() does. A text of any length is safe: what is too long is refused as that.
    bool set_templ(const char* format, ...) __attribute__((format(printf, 2, 3)));

    /// The stored path; null when there is none. Lives as long as the address and its path.
    const char* pathname() const;
};
