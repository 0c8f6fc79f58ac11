// Subjects measured in processes of their own, those of several programs beside each other.
#include "support/contest.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <nlohmann/json.hpp>
#include <random>
#include <string_view>

#include <unistd.h>

namespace plexa::bench {

namespace {

using Json = nlohmann::ordered_json;

struct Options {
    int rounds = 5;
    double seconds = 0.3;
    std::vector<std::string> only;
    std::vector<std::pair<std::string, std::string>> against;  // name, command
    std::string json;
    std::string subject;  // to be run in this process: "row by contender"
};

// A subject in one of the programs.
struct Entrant {
    std::string row;
    std::string name;
    std::string command;
};

// Row and figure, contender, runs. The tables have their rows and columns in this order.
struct Results {
    std::vector<std::string> rows;
    std::vector<std::string> contenders;
    std::map<std::string, std::map<std::string, std::vector<double>>> runs;
};

std::string idOf(const Subject& subject) {
    return subject.row + " by " + subject.contender;
}

template <typename Value>
void addOnce(std::vector<Value>& values, const Value& value) {
    if (std::find(values.begin(), values.end(), value) == values.end()) values.push_back(value);
}

bool takeOption(std::string_view argument, Options& options) {
    const size_t equals = std::min(argument.find('='), argument.size());
    const std::string_view name = argument.substr(0, equals);
    const std::string value(argument.substr(std::min(equals + 1, argument.size())));
    if (name == "--rounds") {
        options.rounds = std::max(1, std::atoi(value.c_str()));
    } else if (name == "--seconds") {
        options.seconds = std::atof(value.c_str());
    } else if (name == "--quick") {
        options.rounds = 1;
    } else if (name == "--only") {
        options.only.push_back(value);
    } else if (name == "--json") {
        options.json = value;
    } else if (name == "--subject") {
        options.subject = value;
    } else if (const size_t end = value.find('='); name == "--against" && end != value.npos) {
        options.against.emplace_back(value.substr(0, end), value.substr(end + 1));
    } else {
        return false;
    }
    return true;
}

std::string ownPath() {
    std::array<char, 4096> path{};
    const ssize_t length = readlink("/proc/self/exe", path.data(), path.size());
    return {path.data(), static_cast<size_t>(std::max<ssize_t>(length, 0))};
}

bool isWanted(const std::string& row, const Options& options) {
    return options.only.empty() ||
           std::any_of(options.only.begin(), options.only.end(),
                       [&](const std::string& part) { return row.find(part) != row.npos; });
}

std::vector<Entrant> entrants(const std::vector<Subject>& subjects, const std::string& contender,
                              const Options& options) {
    std::vector<Entrant> all;
    const std::string seconds = " --seconds=" + std::to_string(options.seconds);
    for (const Subject& subject : subjects) {
        if (!isWanted(subject.row, options)) continue;
        const std::string arguments = seconds + " --subject='" + idOf(subject) + "'";
        all.push_back({subject.row, subject.contender, ownPath() + arguments});
        if (subject.contender != contender) continue;
        for (const auto& [name, command] : options.against)
            all.push_back({subject.row, name, command + arguments});
    }
    return all;
}

// The contenders of a row next to each other, in random order.
void mix(std::vector<Entrant>& all, std::mt19937& random) {
    std::shuffle(all.begin(), all.end(), random);
    std::stable_sort(all.begin(), all.end(),
                     [](const Entrant& a, const Entrant& b) { return a.row < b.row; });
}

// The last line of what the command prints; ends the program when the command fails.
Json run(const Entrant& entrant) {
    FILE* output = popen(("exec " + entrant.command).c_str(), "r");
    std::string last;
    std::array<char, 1024> line{};
    while (output != nullptr && std::fgets(line.data(), line.size(), output) != nullptr)
        last = line.data();
    const Json figures = Json::parse(last, nullptr, false);
    if (output == nullptr || pclose(output) != 0 || !figures.is_object()) {
        std::fprintf(stderr, "%s failed\n", entrant.command.c_str());
        std::exit(1);
    }
    return figures;
}

void addTo(Results& results, const Entrant& entrant, const Json& figures) {
    for (const auto& [name, value] : figures.items())
        results.runs[entrant.row + " " + name][entrant.name].push_back(value);
}

// A column each, in the order in which they are given.
Results measure(const std::vector<Entrant>& ordered, const Options& options) {
    Results results;
    for (const Entrant& entrant : ordered)
        addOnce(results.contenders, entrant.name);
    std::mt19937 random(1);
    std::vector<Entrant> mixed = ordered;
    for (int round = 0; round < options.rounds; ++round) {
        mix(mixed, random);
        for (const Entrant& entrant : mixed)
            addTo(results, entrant, run(entrant));
    }
    for (const Entrant& entrant : ordered) {
        for (const auto& [key, runs] : results.runs) {
            if (key.starts_with(entrant.row + " ")) addOnce(results.rows, key);
        }
    }
    return results;
}

std::string cell(const std::vector<double>& runs) {
    const auto [least, most] = std::minmax_element(runs.begin(), runs.end());
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), "%.4g (%.4g-%.4g)", median(runs), *least, *most);
    return text.data();
}

void print(const Results& results) {
    std::printf("%-34s", "microseconds");
    for (const std::string& contender : results.contenders)
        std::printf(" %24s", contender.c_str());
    std::puts("");
    for (const std::string& row : results.rows) {
        std::printf("%-34s", row.c_str());
        const auto& runs = results.runs.at(row);
        for (const std::string& contender : results.contenders) {
            const auto found = runs.find(contender);
            std::printf(" %24s", found == runs.end() ? "" : cell(found->second).c_str());
        }
        std::puts("");
    }
}

Rates ratesOf(const Results& results) {
    Rates rates;
    for (const auto& [row, contenders] : results.runs) {
        for (const auto& [contender, runs] : contenders)
            rates[row + " by " + contender] = runs;
    }
    return rates;
}

int runHere(const std::vector<Subject>& subjects, const Options& options) {
    for (const Subject& subject : subjects) {
        if (idOf(subject) != options.subject) continue;
        const Figures figures = subject.run(std::chrono::duration<double>(options.seconds));
        std::puts(Json(figures).dump().c_str());
        return 0;
    }
    std::fprintf(stderr, "no subject '%s'\n", options.subject.c_str());
    return 2;
}

}  // namespace

int runContest(int argc, char** argv, const std::vector<Subject>& subjects,
               const std::string& contender, const std::vector<Ratio>& ratios) {
    Options options;
    for (int i = 1; i < argc; ++i) {
        if (takeOption(argv[i], options)) continue;
        std::fprintf(stderr, "%s: unknown option\n", argv[i]);
        return 2;
    }
    if (!options.subject.empty()) return runHere(subjects, options);
    const Results results = measure(entrants(subjects, contender, options), options);
    print(results);
    std::puts("");
    const Json shown = showRatios(ratios, ratesOf(results));
    if (options.json.empty()) return 0;
    const Json all = {{"ratios", shown},
                      {"rows", results.rows},
                      {"contenders", results.contenders},
                      {"figures", results.runs}};
    std::ofstream(options.json) << all.dump(1) << '\n';
    return 0;
}

}  // namespace plexa::bench
