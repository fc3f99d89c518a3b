/// \file
/// The description of a type as data, for tools.
#pragma once

#include <kiv/records/detail/Describe.h>
#include <kiv/records/detail/Failure.h>

#include <string>

/// Describes a type that can travel, as a JSON text without white space. For a record:
/// \code{.json}
/// {"type":"record","record":"Sample","fields":[{"name":"at","type":"int64"},{"name":"place","type":"text"},
///  {"name":"raw","type":"sequence","of":{"type":"float32"}}]}
/// \endcode
/// A versioned record also has `"version"`: the number of its fields, since later versions only append. docs/records.md
/// lists the words for all types. The text is the same on all machines.
/// \return the text; an empty text if there is no memory.
template <class T> [[nodiscard]] std::string itcDescribe()
{
    std::string json;
    itcStatus ignored;
    kiv::withoutExceptions(ignored, [&] {
        json = kiv::Description::of<T>();
        return true;
    });
    return json;
}
