#include "oxgwmain.h"

int main(int argc, char** argv) {
    return OxGwMain(argc, argv);
}
