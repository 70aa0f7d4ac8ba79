#include "oxalarmlogvisitor.h"

#include "oxconn.h"
#include "oxobject.h"

void OXAlarmLogVisitor::Visit(OXComplexObject* object) {
    if (object == nullptr)
        return;
    if (object->GetClassName() == "Alarm")
        connection_.LogAlarm(*object, AET_ACTIVATED);
}
