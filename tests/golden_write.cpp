// Writes the golden file to standard output, from the reference alone.
#include <cstdio>

#include "golden_reference.h"

int main() {
    for (const golden::Result& result : golden::evaluate(golden::reference())) {
        std::printf("%s %s\n", result.name.c_str(), golden::hash(result).c_str());
    }
    return 0;
}
