// SPDX-License-Identifier: MIT
#include <QtGlobal>

/// Some library, but no module.
extern "C" Q_DECL_EXPORT int somethingElse()
{
    return 1;
}
