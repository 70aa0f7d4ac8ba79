#include "oxgway_dataset.h"

void OxGWayDataSet::Clear() {
    // No parameter is ever inserted before the table is built.
    count = 0;
}

void OxGWayDataSet::COMDisconnected() {
    // Nothing observes a machine object before the table is built.
}
