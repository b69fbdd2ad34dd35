// SPDX-License-Identifier: MIT
#pragma once

#include <tests/support/hostileworld.h>
#include <tests/support/pacedserver.h>

#include <QByteArray>
#include <QList>
#include <QRandomGenerator>

/// What a correct reader has of one answer: which bytes of the file it may take, and what it was told of the file.
struct HostileReading {
    struct Piece {
        quint64 content = 0; ///< seed of TestFiles
        qint64 at = 0; ///< place within that content
        qint64 size = 0;
    };

    int address = 0; ///< of those that a person gave for the file
    bool isUsable = false; ///< there are bytes that may be taken
    qint64 from = 0; ///< place in the file, as the reader was told
    QList<Piece> pieces; ///< that can be read, the first at `from`
    bool isWhole = false; ///< its framing was met
    bool isProof = false; ///< and it is the whole file, whose end was told by a length or a last chunk
    qint64 total = -1; ///< bytes of the whole file, as the reader was told; -1: not at all
    QByteArray etag; ///< as in HostileVersion
    qint64 modified = 0;

    qint64 size() const;
};

struct HostileAnswer {
    PacedAnswer paced;
    HostileReading reading;
    HostileFault fault = HostileFault::None;
};

/// Makes answers of a file, right and wrong. Pure but for the chance.
class HostileAnswerMaker
{
public:
    /// @param next what a body goes on with that changes while it is sent
    HostileAnswerMaker(const HostileResource &resource, const HostileVersion &version, const HostileVersion &next,
                       QRandomGenerator &chance);

    /// @param request of the file itself, behind all redirects
    HostileAnswer answer(const ScriptedRequest &request, HostileFault fault);
    HostileAnswer redirect(const QByteArray &location);
    HostileAnswer status(const QByteArray &line, const QByteArray &fields = {});
    HostileAnswer loginPage();

private:
    struct Draft;

    Draft draftFor(const ScriptedRequest &request) const;
    void spoilValidators(HostileFault fault, Draft &draft) const;
    void spoilRange(HostileFault fault, Draft &draft);
    void spoilFraming(HostileFault fault, Draft &draft);
    bool answersOtherwise(HostileFault fault, HostileAnswer *answer);
    HostileAnswer finished(const Draft &draft);
    void pace(PacedAnswer &answer);

    const HostileResource &m_resource;
    const HostileVersion &m_version;
    const HostileVersion &m_next;
    QRandomGenerator &m_chance;
};
