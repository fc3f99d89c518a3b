/// \file
/// Blocks of bytes in the host's memory.
#pragma once

#include <cstddef>

/// A block of bytes in an area of the host, to be put or taken without a copy in between. On the wire it is an
/// itcBinData: an `unsigned int` with the number of bytes, then the bytes. A std::vector of bytes looks the same.
///
/// \code
/// packet << itcBytes(picture, pictureSize);
///
/// char area[1024];
/// unsigned int length = 0;
/// packet >> itcBytes(area, sizeof area, length);
/// \endcode
/// \par Ownership
/// The area belongs to the host. This object only names it for the one operation.
class [[nodiscard]] itcBytes {
public:
    /// Names `size` bytes to be put.
    itcBytes(const void* bytes, std::size_t size) : block(const_cast<void*>(bytes)), room(size), taken(nullptr) {}
    /// Names an area of `size` bytes to be taken into. `length` receives the number of bytes taken, 0 after a failure.
    ///
    /// Results of the take, in the status:
    /// - unchanged: the bytes are there.
    /// - (`Itc_Ndr_Buff_Sz_More_Than_Max`, Error): the block is larger than the area. Nothing is taken.
    /// - (`Itc_Ndr_End_Of_Data`, Warning): the block is not there. Nothing is taken.
    /// - (`Itc_Ndr_No_Buffer_Provided`, Error): `area` is null and `size` is not 0.
    itcBytes(void* area, std::size_t size, unsigned int& length) : block(area), room(size), taken(&length) {}

    void* data() const { return block; }           ///< The first byte.
    std::size_t size() const { return room; }      ///< The number of bytes.
    unsigned int* length() const { return taken; } ///< What receives the number of bytes taken. Null for a put.
    bool isThere() const { return block != nullptr || room == 0; } ///< False for a null area with a size.

private:
    void* block;
    std::size_t room;
    unsigned int* taken;
};
