// SPDX-License-Identifier: MIT
#pragma once

#include <tests/support/pacedserver.h>
#include <tests/support/scriptedrequest.h>

#include <QByteArray>
#include <QRandomGenerator>

struct MoodyAnswer : PacedAnswer {
    /// It is not what a sound server would have sent.
    bool isFaulty = false;
};

/// A file that never changes, and the moods in which it is served. What kind of file it is follows from its seed; each
/// answer follows from that, the request and the chance that is given.
///
/// Some files tell their size in each answer and some in none: who told it and then does not counts as another file.
///
/// It lies behind `hops` redirects: "/SEED/h2/SEED.bin" leads to "/SEED/h1/SEED.bin", and so on to "h0".
class MoodyFile
{
public:
    enum class Login { None, Basic, Digest };

    static const QByteArray kLogin; ///< "name:password"

    explicit MoodyFile(quint64 seed);

    QByteArray name() const;
    /// What is to be asked for.
    QByteArray path() const;
    qint64 size() const { return m_size; }
    QByteArray sha256() const;
    /// How many requests it takes to ask for the file once: redirects and a challenge.
    int requestsToAsk() const;
    /// So many answers may be faulty before it is served soundly.
    int mostFaults() const { return m_mostFaults; }
    /// What it is like, for people.
    QString inWords() const;

    /// Of any way of framing, in any pieces, and right. @param chance decides
    MoodyAnswer soundAnswer(const ScriptedRequest &request, QRandomGenerator &chance) const;
    /// The same with something wrong. @param isReused the connection has had an answer before
    MoodyAnswer faultyAnswer(const ScriptedRequest &request, bool isReused, QRandomGenerator &chance) const;

private:
    struct Form;

    bool isLoggedIn(const ScriptedRequest &request, QByteArray *challenge) const;
    Form formFor(const ScriptedRequest &request, QRandomGenerator &chance) const;
    void pickRange(const ScriptedRequest &request, Form &form) const;
    void pickRedirect(int hop, QRandomGenerator &chance, Form &form) const;
    QByteArray validators() const;

    quint64 m_seed;
    qint64 m_size = 0;
    int m_hops = 0;
    Login m_login = Login::None;
    bool m_tellsSize = true;
    bool m_hasETag = false;
    bool m_hasDate = false;
    int m_mostFaults = 0;
};
