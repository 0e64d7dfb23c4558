// What a program costs that does nothing and has nothing to do with kova: what idle_with is set
// against.
#include "support/Memory.h"

int main() {
    kova::bench::printResidentMemory();
}
