/// \file
/// Addresses of local (Unix-domain) endpoints: paths of socket files.
#pragma once

#include <kiv/address/itcAddress.h>

/// The address of a local stream endpoint: a path in the file system.
///
/// \par Blocking
/// set() asks the resolver and waits for the answer.
///
/// \par Threads
/// One thread at a time per object. Generated paths: one thread at a time in the whole process, see set().
///
/// \par Errors
/// Nothing throws. set() returns success or failure and leaves the reason in `status`. After a constructor test
/// `status.severity`. Do not use an address whose path was refused.
class KIV_EXPORT itcUnixAddress : public itcAddress {
public:
    /// The largest number of characters in a path, without the terminating zero.
    ///
    /// A constant for the compiler. The library also exports a symbol of this name: a host can find the value by name,
    /// with dlsym().
    static const int Max_SockUnix_Pathlen = 107;

    /// Pass this pointer to set() or to the constructor to get a generated path.
    ///
    /// The pointer points to an empty string. set() compares the pointer, not the text. Any other empty string is an
    /// empty path.
    static const char* const Temp;

    /// An address without a path. pathname() gives null.
    ///
    /// The status is (Itc_Tp_No_Path_Given, Warning). The error number is whatever `errno` is at this moment; no system
    /// call has failed.
    itcUnixAddress();
    /// Calls set(path).
    explicit itcUnixAddress(const char* path);

    /// Stores a path.
    ///
    /// set() passes every path to the resolver, by a traced call of OS_getaddrinfo(). If the resolver gives an address,
    /// set() first copies the answer into `address` and then frees the answer. Most resolvers do not know local
    /// addresses; set() then makes the address from the path itself.
    ///
    /// \param path  at most #Max_SockUnix_Pathlen characters. Null and #Temp ask for a generated path.
    ///              `path` may be the pathname() of this object.
    ///
    /// - A generated path is a free name in the system's directory for temporary files. tmpnam() makes the name, in
    ///   static storage: only one thread of the process may do this at a time.
    /// - Nothing reserves a generated name until the name is bound. Another program may take the name first. If others
    ///   can write to the directory, give a path in a directory of your own.
    /// - The path "*" is refused: the resolver reads "*" as "no host". Write "./*".
    ///
    /// \return true:  the status is clear.
    ///         false, (Itc_Tp_Path_Too_Long, Error): the path is too long.
    ///         false, (Itc_Tp_Path_Too_Long, Error): the resolver failed, or its answer is not a usable address.
    ///         false, (Itc_Tp_Path_Too_Long, Error): the system could not generate a path.
    bool set(const char* path);

    /// Formats a path as printf() does, and calls set() with the text.
    ///
    /// A text of any length is safe: a text that is too long is refused. With the format "%s" and the argument #Temp
    /// the path is empty, not generated.
    /// \return true:  the status is clear.
    ///         false, (Itc_Tp_Path_Too_Long, Error): set() refused the text, or the text could not be formatted.
    bool set_templ(const char* format, ...) __attribute__((format(printf, 2, 3)));

    /// The stored path.
    /// \return a pointer into this object, valid until the next set() and as long as the object lives; null if there is
    ///         no path.
    const char* pathname() const;
};
