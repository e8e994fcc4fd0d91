#include "lifecycle/pointercheck.h"

#include <QDebug>

namespace {

void checkOne(const void* pointer, const char* prefix)
{
    if (reinterpret_cast<quintptr>(pointer) < kLowestPlausibleAddress) {
        qWarning() << prefix << static_cast<int>(kLowestPlausibleAddress)
                   << ", which likely means dangling pointer or nullptr access";
    }
}

} // namespace

void checkPointers(const void* self, const void* parent)
{
    checkOne(self, "ERROR: this < ");
    checkOne(parent, "ERROR: parent-this < ");
}
