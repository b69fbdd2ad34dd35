// SPDX-License-Identifier: MIT
#pragma once

#include <QtGlobal>

#include <unistd.h>

/// While it lives, the process has no rights beyond those of an ordinary user, so that permissions count.
class OrdinaryUser
{
    Q_DISABLE_COPY_MOVE(OrdinaryUser)

public:
    OrdinaryUser()
        : m_before(::geteuid())
        , m_ok(m_before != 0 || ::seteuid(kNobody) == 0)
    {
    }
    ~OrdinaryUser()
    {
        if (m_before == 0 && ::seteuid(m_before) != 0)
            qFatal("the rights of before cannot be taken back");
    }

    bool isOk() const { return m_ok; }

private:
    static constexpr uid_t kNobody = 65534;

    const uid_t m_before;
    const bool m_ok;
};
