// Reads a trace file.
#include "trace/TraceReader.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstring>
#include <fstream>
#include <limits>

#include "base/Text.h"

namespace plexa {
namespace {

// More kinds of work than any chain has.
constexpr size_t kMaxLanes = 64;

constexpr std::string_view kWaits = " waits";
constexpr std::string_view kEnd = " end";
constexpr std::string_view kDropped = " dropped ";

std::string textOf(const nlohmann::json& event, const char* key) {
    const auto found = event.find(key);
    return found != event.end() && found->is_string() ? found->get<std::string>() : std::string();
}

double numberOf(const nlohmann::json& event, const char* key, double fallback) {
    const auto found = event.find(key);
    return found != event.end() && found->is_number() ? found->get<double>() : fallback;
}

// Of a number; 0 for what is none, or is too large for a count.
int64_t countOf(const nlohmann::json& value) {
    constexpr double kMost = 1e15;
    const double count = value.is_number() ? value.get<double>() : 0;
    return std::abs(count) <= kMost ? static_cast<int64_t>(count) : 0;
}

bool isUnfinished(const nlohmann::json& event) {
    const auto args = event.find("args");
    return args != event.end() && args->is_object() && args->contains("unfinished");
}

std::string threadOf(const nlohmann::json& event) {
    return event.value("pid", nlohmann::json()).dump() + ' ' +
           event.value("tid", nlohmann::json()).dump();
}

std::string asyncKeyOf(const nlohmann::json& event) {
    return textOf(event, "cat") + '\n' + textOf(event, "name") + '\n' +
           event.value("id", nlohmann::json()).dump();
}

// -1 if it is no number.
int64_t numberIn(std::string_view text, int base = 10) {
    int64_t number = -1;
    const char* end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, number, base);
    return error == std::errc() && rest == end ? number : -1;
}

int64_t frameOfAsync(const nlohmann::json& event) {
    const std::string id = textOf(event, "id");
    return id.starts_with("0x") ? numberIn(std::string_view(id).substr(2), 16) : numberIn(id);
}

}  // namespace

Status TraceReader::read(const std::string& path, ChainTrace* trace) {
    std::ifstream file(path);
    // A directory can be opened, not read.
    if (!file.is_open() || (file.peek(), file.bad())) {
        return Status::error(path + ": cannot be read: " + std::strerror(errno));
    }
    mTrace.begin = std::numeric_limits<double>::max();
    bool isInEvents = false;
    // No event stays, so that a long trace takes little memory.
    const auto keep = [&](int depth, Json::parse_event_t what, Json& value) {
        if (what == Json::parse_event_t::key && depth == 1) isInEvents = value == "traceEvents";
        if (what != Json::parse_event_t::object_end || depth != 2 || !isInEvents) return true;
        take(value);
        return false;
    };
    try {
        const Json rest = Json::parse(file, keep);
        if (!rest.is_object() || !rest.contains("traceEvents")) {
            return Status::error(path + ": is no trace: it has no \"traceEvents\"");
        }
        if (const auto other = rest.find("otherData"); other != rest.end() && other->is_object()) {
            mTrace.leftOut = countOf(other->value("eventsLeftOut", Json()));
        }
    } catch (const Json::parse_error& error) {
        return Status::error(
            text("%s: is no trace: no JSON at byte %zu", path.c_str(), error.byte));
    } catch (const Json::exception& error) {
        return Status::error(path + ": is no trace: " + error.what());
    }
    Status status = finish(path);
    *trace = std::move(mTrace);
    return status;
}

void TraceReader::take(const Json& event) {
    const std::string phase = textOf(event, "ph");
    const double time = numberOf(event, "ts", -1);
    if (phase.size() != 1 || time < 0) return;
    switch (phase[0]) {
        case 'B':
            mSlices[threadOf(event)].push_back({textOf(event, "name"), time});
            break;
        case 'E':
            endSlice(event, time);
            break;
        case 'X':
            addSlice(textOf(event, "name"),
                     {.begin = time, .end = time + numberOf(event, "dur", 0)});
            break;
        case 'b':
            mAsync[asyncKeyOf(event)].push_back(time);
            break;
        case 'e':
            endAsync(event, time);
            break;
        case 'C':
            addLevel(event, time);
            break;
        default:
            return;
    }
    mTrace.begin = std::min(mTrace.begin, time);
    mTrace.end = std::max(mTrace.end, time + numberOf(event, "dur", 0));
}

void TraceReader::endSlice(const Json& event, double time) {
    std::vector<OpenSlice>& open = mSlices[threadOf(event)];
    if (open.empty()) return;
    const OpenSlice slice = std::move(open.back());
    open.pop_back();
    addSlice(slice.name, {.begin = slice.begin, .end = time, .isFinished = !isUnfinished(event)});
}

void TraceReader::addSlice(const std::string& name, TraceSpan span) {
    if (const size_t at = name.find(kDropped); at != std::string::npos) {
        lane(name.substr(0, at)).drops.push_back({span.begin, name});
        return;
    }
    if (name.ends_with(kEnd)) return;  // the mark behind the last frame
    const size_t space = name.rfind(' ');
    if (space != std::string::npos) span.frame = numberIn(std::string_view(name).substr(space + 1));
    lane(span.frame < 0 ? name : name.substr(0, space)).work.push_back(span);
}

void TraceReader::endAsync(const Json& event, double time) {
    std::vector<double>& open = mAsync[asyncKeyOf(event)];
    if (open.empty()) return;
    const TraceSpan span{.begin = open.back(),
                         .end = time,
                         .frame = frameOfAsync(event),
                         .isFinished = !isUnfinished(event)};
    open.pop_back();
    const std::string name = textOf(event, "name");
    if (name == "frame") {
        mTrace.frames.push_back(span);
    } else if (name.ends_with(kWaits)) {
        lane(name.substr(0, name.size() - kWaits.size())).waits.push_back(span);
    }
}

void TraceReader::addLevel(const Json& event, double time) {
    static constexpr std::pair<std::string_view, TraceLevel TraceLane::*> kLevels[] = {
        {" free buffers", &TraceLane::freeBuffers},
        {" inputs", &TraceLane::inputs},
        {" outputs", &TraceLane::outputs}};
    const std::string name = textOf(event, "name");
    const auto args = event.find("args");
    if (args == event.end() || !args->is_object() || args->empty()) return;
    for (const auto& [ending, level] : kLevels) {
        if (!name.ends_with(ending) || !args->begin()->is_number()) continue;
        TraceLane& owner = lane(name.substr(0, name.size() - ending.size()));
        (owner.*level).steps.push_back({time, countOf(*args->begin())});
    }
}

TraceLane& TraceReader::lane(const std::string& name) {
    const auto isIt = [&name](const TraceLane& lane) { return lane.name == name; };
    const auto found = std::find_if(mTrace.lanes.begin(), mTrace.lanes.end(), isIt);
    if (found != mTrace.lanes.end()) return *found;
    // One more than are allowed holds the rest, and is an error at the end.
    if (mTrace.lanes.size() > kMaxLanes) return mTrace.lanes.back();
    mTrace.lanes.emplace_back().name = name;
    return mTrace.lanes.back();
}

Status TraceReader::finish(const std::string& path) {
    if (mTrace.lanes.size() > kMaxLanes) {
        return Status::error(
            text("%s: is no trace of a chain: it has more than %zu kinds of slices", path.c_str(),
                 kMaxLanes));
    }
    const auto hasNoFrame = [](const TraceLane& lane) {
        return std::all_of(lane.work.begin(), lane.work.end(),
                           [](const TraceSpan& span) { return span.frame < 0; });
    };
    if (std::all_of(mTrace.lanes.begin(), mTrace.lanes.end(), hasNoFrame)) {
        return Status::error(path + ": no stage works on a frame in this trace");
    }
    const auto beginOf = [](const TraceLane& lane) {
        double first = std::numeric_limits<double>::max();
        for (const TraceSpan& span : lane.work)
            first = std::min(first, span.begin);
        return first;
    };
    std::stable_sort(
        mTrace.lanes.begin(), mTrace.lanes.end(),
        [&](const TraceLane& a, const TraceLane& b) { return beginOf(a) < beginOf(b); });
    return {};
}

}  // namespace plexa
