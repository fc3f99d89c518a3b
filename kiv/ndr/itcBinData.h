/// \file
/// A block of raw bytes.
#pragma once

/// A length and a pointer, for `buffer << data` and `buffer >> data`. The bytes belong to the host.
///
/// \warning A take copies as many bytes as the packet announces to `data`, and leaves `length` alone. The area must be
///          large enough for whatever a peer may send. Where the area may be too small, take with
///          itcNDRReceive::extract().
struct itcBinData {
    unsigned int length = 0; ///< The number of bytes to put.
    char* data = nullptr;    ///< The bytes to put, or the area that is taken into.
};
