#include "registerresources.h"

#include <QtCore/qglobal.h>

// The macro declares the generated function, so it has to stand outside any namespace.
void registerResources()
{
    Q_INIT_RESOURCE(vela);
#ifdef VELA_HAS_TRANSLATIONS
    Q_INIT_RESOURCE(translations);
#endif
}
