// Loading this ends the process, as loading a driver for Qt 4 into a program with Qt 5 does.
#include <cstdlib>

int qtCore4();

namespace {

struct EndsTheProcess {
    EndsTheProcess() {
        if (qtCore4() == 4) {
            std::abort();
        }
    }
} atLoading;

}  // namespace
