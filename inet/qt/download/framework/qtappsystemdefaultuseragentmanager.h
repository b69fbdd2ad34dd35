// SPDX-License-Identifier: MIT
#pragma once

#include <inet/qt/download/records/exportmacro.h>

#include <QString>

/// Holds the application's default User-Agent, which a person may set.
class DOWNLOADFRAMEWORK_EXPORT QtAppSystemDefaultUserAgentManager
{
public:
    /// Empty = nothing was set; the module then has a default of its own.
    QString userAgent() const { return m_userAgent; }
    void setUserAgent(const QString &userAgent) { m_userAgent = userAgent; }

private:
    QString m_userAgent;
};
