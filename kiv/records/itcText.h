/// \file
/// Texts in arrays of characters, taken without overflow.
#pragma once

#include <cstddef>

/// An array of characters that holds a text. `packet >> itcText(text)` is the safe form of `packet >> text`, which
/// writes as many bytes as the peer has announced.
///
/// \code
/// char text[16];
/// packet >> itcText(text);
/// \endcode
/// A take ends the text with a zero in every case. Results, in the status:
/// - unchanged: the text is there.
/// - (`Itc_Ndr_Buffer_Size_Too_Small`, Warning): the text was longer than the array and was cut. Reading goes on behind
///   the whole text, and the takes of the companion go on. The library's own take of a `char*` refuses after any
///   Warning.
/// - (`Itc_Ndr_End_Of_Data`, Warning): the text is not there. The array is empty.
///
/// A put puts the text up to its zero, or the whole array if the array has none.
///
/// \par Ownership
/// The array belongs to the host. This object only names it for the one operation.
class [[nodiscard]] itcText {
public:
    /// Names an array.
    template <std::size_t Size> explicit itcText(char (&text)[Size]) : characters(text), room(Size) {}
    /// Names `size` characters at `text`. With null `text`, or with `size` 0, takes and puts fail:
    /// (`Itc_Ndr_No_Buffer_Provided`, Error).
    itcText(char* text, std::size_t size) : characters(text), room(size) {}

    char* data() const { return characters; }                           ///< The first character.
    std::size_t size() const { return room; }                           ///< The number of characters, with the zero.
    bool isThere() const { return characters != nullptr && room != 0; } ///< Whether there is room for a text.

private:
    char* characters;
    std::size_t room;
};
