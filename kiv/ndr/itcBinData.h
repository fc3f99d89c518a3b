/// \file
/// A block of raw bytes.
#pragma once

/// A length and a pointer, for `buffer << data` and `buffer >> data`. The bytes belong to the host.
///
/// \warning Taking copies as many bytes as the packet announces to `data` and leaves `length` alone: the area must be
///          large enough for what a peer may send. Where it is not known to be, use itcNDRReceive::extract().
struct itcBinData {
    unsigned int length = 0; ///< Number of bytes to put.
    char* data = nullptr;    ///< The bytes to put, or the area to take into.
};
