// Measures the cost of an empty program without kova, for comparison with idle_with.
#include "support/Memory.h"

int main() {
    kova::bench::printResidentMemory();
}
