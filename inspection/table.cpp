#include "inspection/table.h"

#include <algorithm>
#include <iterator>

#include "inspection/text.h"

namespace {

constexpr Direction directions[] = {Direction::undistort, Direction::distort};

/** What the columns of a direction's distances are called, and the distances. */
struct Column {
    const char* name;
    double Statistics::*value;
};
constexpr Column distances[] = {{"largest", &Statistics::largest},
                                {"rms", &Statistics::rootMeanSquare},
                                {"p50", &Statistics::median},
                                {"p95", &Statistics::percentile95},
                                {"p99", &Statistics::percentile99}};

std::string reasonsOf(const Verdict& verdict, const std::vector<std::string>& others) {
    return verdict.reason.empty() ? joined(others, "; ") : verdict.reason;
}

}  // namespace

std::vector<std::string> columnsOfChecks() {
    return {"file", "status", "usable", "reasons", "round_trip"};
}

std::vector<std::string> rowOf(const Check& check) {
    const std::optional<RoundTrip>& trip = check.usability.roundTrip;
    return {check.name, std::to_string(check.verdict.status), check.isUsable ? "yes" : "no",
            reasonsOf(check.verdict, check.usability.faults),
            trip && trip->compared > 0 ? format("%.6g", trip->largest) : ""};
}

std::vector<std::string> columnsOfDifferences() {
    std::vector<std::string> columns = {"file", "status", "agree", "reasons"};
    for (const Direction direction : directions) {
        for (const Column& column : distances) {
            columns.push_back(nameOf(direction) + "_" + column.name);
        }
    }
    columns.emplace_back("fields");
    return columns;
}

std::vector<std::string> rowOf(const Difference& difference) {
    const Verdict& verdict = difference.verdicts[1];
    std::vector<std::string> reasons;
    std::vector<std::string> numbers;
    for (const Direction direction : directions) {
        const auto maps = std::find_if(
            difference.maps.begin(), difference.maps.end(),
            [&](const DirectionDifference& each) { return each.direction == direction; });
        const bool isThere = maps != difference.maps.end();
        if (isThere && !maps->whyNot.empty()) {
            reasons.push_back(nameOf(direction) + " maps " + maps->whyNot);
        }
        for (const Column& column : distances) {
            numbers.push_back(isThere && maps->apart ? format("%.6g", *maps->apart.*column.value)
                                                     : "");
        }
    }
    std::vector<std::string> fields;
    for (const FieldDifference& field : difference.fields) {
        fields.push_back(field.name);
    }
    std::vector<std::string> row = {difference.names[1], std::to_string(verdict.status),
                                    mapsAgree(difference) ? "yes" : "no",
                                    reasonsOf(verdict, reasons)};
    row.insert(row.end(), numbers.begin(), numbers.end());
    row.push_back(joined(fields, "; "));
    return row;
}

std::string csvLine(const std::vector<std::string>& row) {
    std::vector<std::string> values;
    for (const std::string& value : row) {
        std::string quotedValue = "\"";
        for (const char c : value) {
            quotedValue.append(c == '"' ? 2 : 1, c);
        }
        const bool isPlain = value.find_first_of(",\"\r\n") == std::string::npos;
        values.push_back(isPlain ? value : quotedValue + "\"");
    }
    return joined(values, ",");
}
