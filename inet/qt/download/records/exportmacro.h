// SPDX-License-Identifier: MIT
#pragma once

#include <QtCore/qglobal.h>

/// What the shared library downloadframework shows to the host and to modules.
#ifdef DOWNLOADFRAMEWORK_LIBRARY
#define DOWNLOADFRAMEWORK_EXPORT Q_DECL_EXPORT
#else
#define DOWNLOADFRAMEWORK_EXPORT Q_DECL_IMPORT
#endif
