// Random lives around the stage; what they find is printed.
#include <kit/Exercise.h>
#include <kit/StageLibrary.h>

#include <cstdio>

int main(int argc, char** argv) {
    std::string error;
    const auto stages = plexa::kit::findChain(argc > 1 ? argv[1] : "./libwatermark.so", &error);
    const plexa::kit::ExerciseReport report = plexa::kit::exercise(stages);
    fputs((error + plexa::kit::toText(report, {})).c_str(), stdout);
    return !error.empty() || report.found;
}
