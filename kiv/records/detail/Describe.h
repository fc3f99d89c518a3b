/// \file
/// How each kind of value is described as JSON.
#pragma once

#include <kiv/records/detail/Layout.h>
#include <kiv/records/detail/Refused.h>

#include <cstddef>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

namespace kiv {

/// The name of a type without its namespaces and without the arguments of templates, which compilers write differently:
/// "Sample" for `plant::Sample<int>`. A type without a name gives an empty text. Compilers write the type's name into
/// the text that names this function.
template <class T> std::string_view nameOf()
{
    constexpr std::string_view function = __PRETTY_FUNCTION__;
    constexpr std::string_view mark = "T = ";
    const std::string_view rest = function.substr(function.find(mark) + mark.size());
    std::size_t first = 0, last = 0;
    int depth = 0; // in the arguments of templates
    for (std::size_t i = 0; i < rest.size() && (depth > 0 || (rest[i] != ';' && rest[i] != ']')); ++i) {
        if (rest[i] == '<')
            ++depth;
        else if (rest[i] == '>')
            --depth;
        else if (depth == 0 && rest[i] == ':')
            first = last = i + 1;
        else if (depth == 0)
            last = i + 1;
    }
    const std::string_view name = rest.substr(first, last - first);
    constexpr std::string_view noName = "(){}<> ";
    return name.find_first_of(noName) == std::string_view::npos ? name : std::string_view();
}

/// Writes the description of a type.
class Description {
public:
    template <class T> static std::string of()
    {
        Description description;
        description.json += '{';
        description.describe<std::remove_cv_t<T>>();
        description.json += '}';
        return description.json;
    }

private:
    // "name":"value"
    void text(std::string_view name, std::string_view value)
    {
        key(name);
        json += '"';
        for (const char c : value) {
            if (c == '"' || c == '\\')
                json += '\\';
            json += c;
        }
        json += '"';
    }

    void number(std::string_view name, std::size_t value)
    {
        key(name);
        json += std::to_string(value);
    }

    void key(std::string_view name)
    {
        if (json.back() != '{')
            json += ',';
        json.append("\"").append(name).append("\":");
    }

    // "name":{...}
    template <class T> void part(std::string_view name)
    {
        key(name);
        json += '{';
        describe<T>();
        json += '}';
    }

    // "of":[{...},{...}]
    template <class... Parts> void parts(const std::tuple<Parts...>*)
    {
        key("of");
        json += '[';
        ((json += '{', describe<Parts>(), json += "},"), ...);
        endList();
    }

    template <class... Parts> void parts(const std::variant<Parts...>*)
    {
        parts(static_cast<const std::tuple<Parts...>*>(nullptr));
    }

    // "fields":[{"name":"at",...},{...}]
    template <class Names, class... Parts> void fields(const Names& names, const std::tuple<Parts...>*)
    {
        key("fields");
        json += '[';
        std::size_t i = 0;
        ((json += '{', text("name", names[i++]), describe<Parts>(), json += "},"), ...);
        endList();
    }

    void endList()
    {
        if (json.back() == ',')
            json.back() = ']';
        else
            json += ']';
    }

    // A record may contain a vector of itself. Inside of itself it is named, and not described again.
    template <class Record> void record()
    {
        const std::string_view name = nameOf<Record>();
        text("type", "record");
        text("record", name);
        for (const auto* each : around)
            if (each == &identity<Record>)
                return;
        around.push_back(&identity<Record>);
        if constexpr (kindOf<Record> == Kind::versioned)
            number("version", std::tuple_size_v<PartsOf<Record>>);
        fields(FieldsOf<Record>::names(), static_cast<const PartsOf<Record>*>(nullptr));
        around.pop_back();
    }

    template <class T> static constexpr std::string_view numberName()
    {
        if constexpr (std::is_same_v<T, bool>)
            return "bool";
        else if constexpr (std::is_same_v<T, char>)
            return "char";
        else if constexpr (std::is_floating_point_v<T>)
            return sizeof(T) == 4 ? "float32" : "float64";
        else if constexpr (std::is_signed_v<T>)
            return sizeof(T) == 1 ? "int8" : sizeof(T) == 2 ? "int16" : sizeof(T) == 4 ? "int32" : "int64";
        else
            return sizeof(T) == 1 ? "uint8" : sizeof(T) == 2 ? "uint16" : sizeof(T) == 4 ? "uint32" : "uint64";
    }

    template <class Period> void period()
    {
        text("seconds", std::to_string(Period::num) + "/" + std::to_string(Period::den));
    }

    template <class T> void describe()
    {
        requirePart<T>();
        constexpr Kind kind = kindOf<T>;
        if constexpr (kind == Kind::number) {
            text("type", numberName<typename NumberOf<T>::Type>());
            if constexpr (std::is_enum_v<T>)
                text("enumeration", nameOf<T>());
        } else if constexpr (kind == Kind::duration) {
            text("type", "duration");
            part<typename T::rep>("of");
            period<typename T::period>();
        } else if constexpr (kind == Kind::timePoint) {
            text("type", "time");
            part<typename T::rep>("of");
            period<typename T::period>();
        } else if constexpr (kind == Kind::characters) {
            text("type", "text");
            number("most", sizeof(T) - 1);
        } else if constexpr (kind == Kind::text || kind == Kind::view || kind == Kind::path || isPointerToText<T>) {
            text("type", "text");
        } else if constexpr (kind == Kind::array) {
            text("type", "array");
            number("count", ArrayTraits<T>::count);
            part<ElementOf<T>>("of");
        } else if constexpr (kind == Kind::sequence || kind == Kind::set) {
            text("type", kind == Kind::set ? "set" : "sequence");
            part<ElementOf<T>>("of");
        } else if constexpr (kind == Kind::map) {
            text("type", "map");
            part<typename T::key_type>("key");
            part<typename T::mapped_type>("of");
        } else if constexpr (kind == Kind::optional) {
            text("type", "optional");
            part<typename T::value_type>("of");
        } else if constexpr (kind == Kind::tuple) {
            text("type", "tuple");
            parts(static_cast<const PartsOf<T>*>(nullptr));
        } else if constexpr (kind == Kind::variant) {
            text("type", "variant");
            parts(static_cast<const T*>(nullptr));
        } else if constexpr (kind == Kind::record || kind == Kind::versioned) {
            record<T>();
        } else {
            text("type", "host");
            text("host", nameOf<T>());
        }
    }

    template <class Record> static constexpr char identity = 0;

    std::string json;
    std::vector<const char*> around; // the records around the present place
};

} // namespace kiv
