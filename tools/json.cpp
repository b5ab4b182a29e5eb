#include "json.h"

#include <cmath>
#include <nlohmann/json.hpp>
#include <optional>
#include <type_traits>
#include <vector>

#include "inspection/describe.h"
#include "inspection/text.h"

namespace {

using Json = nlohmann::ordered_json;

template <class Record>
Json valueOf(const Record& record);
template <class Value>
Json valueOf(const std::vector<Value>& values);

/** The `out` of `describe`: one member of an object after the other. */
struct Members {
    template <class Value>
    void operator()(const std::string& name, const Value& value) {
        object[name] = valueOf(value);
    }
    template <class Value>
    void operator()(const std::string& name, const std::optional<Value>& value) {
        if (value) {
            object[name] = valueOf(*value);
        }
    }
    Json object = Json::object();
};

template <class Value>
Json valueOf(const std::vector<Value>& values) {
    Json list = Json::array();
    for (const Value& value : values) {
        list.push_back(valueOf(value));
    }
    return list;
}

template <class Record>
Json valueOf(const Record& record) {
    if constexpr (std::is_floating_point_v<Record>) {
        const auto number = static_cast<double>(record);
        // Of what is no number the sign is chance.
        return std::isfinite(number) ? Json(number)
               : std::isnan(number)  ? Json("nan")
                                     : Json(format("%g", number));
    } else if constexpr (std::is_arithmetic_v<Record> || std::is_same_v<Record, std::string>) {
        return record;
    } else {
        Members members;
        describe(members, record);
        return members.object;
    }
}

}  // namespace

std::string jsonOf(const Check& check) {
    return valueOf(check).dump();
}

std::string jsonOf(const Difference& difference) {
    return valueOf(difference).dump();
}

std::string jsonOf(const Info& info, bool inOneLine) {
    return valueOf(info).dump(inOneLine ? -1 : 2);
}
