// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

/// Text that may be shown and kept, made of text that holds secrets. Pure.
namespace Redaction
{

/// The same line with "***" in place of the values of secret headers (see SecretHeaders; Set-Cookie, too), up to the
/// line's end, and of logins in URLs.
QString line(const QString &text);

}
