#include "oxconf.h"
#include "testprint.h"

#include <cstdlib>

int main() {
    const char* root = getenv("OXGW_ROOT");
    OxConfiguration::Instance()->SetAppPath(root ? root : "");
    TestPrintTask::Instance();
    TestPrintF(4, "OxGw, version: %s\n", "2.02.05");
    TestPrintTask::Instance()->end_event_loop();
    TestPrintTask::Instance()->wait();
    return 0;
}
