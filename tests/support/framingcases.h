// SPDX-License-Identifier: MIT
#pragma once

#include <tests/support/rawserver.h>

#include <QByteArray>
#include <QList>

/// What servers send, rightly framed or not, and what a client has to make of it by RFC 9110 and 9112. Where these
/// leave a choice, either outcome is right.
struct FramingCase {
    enum class Verdict {
        Whole, ///< the file is `file`
        Refused, ///< there is no file; what is kept of it is a beginning of `file`
        Either, ///< one of the two
    };
    enum class Begin {
        AtZero, ///< nothing is there
        AfterSix, ///< of a file known to have twelve bytes, the first six
        AfterAll, ///< of a file of unknown size, the first twelve bytes
    };

    QByteArray name; ///< a sentence; one of a kind
    QByteArray rule; ///< why the verdict is as it is
    Verdict verdict = Verdict::Whole;
    QByteArray file;
    QList<RawAnswer> answers;
    Begin begin = Begin::AtZero;
    /// The answer comes before there is a request.
    bool isGreeting = false;
    /// "name:password" to give when the server asks; empty: none.
    QByteArray login;

    static FramingCase whole(const QByteArray &name, const QByteArray &rule, const QByteArray &answer,
                             const QByteArray &file);
    static FramingCase refused(const QByteArray &name, const QByteArray &rule, const QByteArray &answer,
                               const QByteArray &certain = {});
    static FramingCase either(const QByteArray &name, const QByteArray &rule, const QByteArray &answer,
                              const QByteArray &file);

    FramingCase &then(const QByteArray &answer);
    /// How the connection ends behind the last answer; otherwise it is closed.
    FramingCase &reset();
    FramingCase &keptOpen();
    FramingCase &resumed();
    FramingCase &complete();
    FramingCase &greeting();
    FramingCase &withLogin();
    /// So many times `x`, before the byte of number `at` of the answer.
    FramingCase &filled(qsizetype at, qint64 size);
};

/// The cases, by what they are about.
QList<FramingCase> statusLineCases();
QList<FramingCase> fieldCases();
QList<FramingCase> lengthCases();
QList<FramingCase> transferCodingCases();
QList<FramingCase> chunkCases();
QList<FramingCase> statusCases();
QList<FramingCase> rangeCases();
QList<FramingCase> allFramingCases();

/// Answers of every kind that are as they have to be, to be cut anywhere.
struct SoundAnswer {
    QByteArray name = {}; ///< letters and digits
    /// The one that is cut is the first; what follows it is what the next requests get.
    QList<QByteArray> answers = {};
    QByteArray file = {};
    FramingCase::Begin begin = FramingCase::Begin::AtZero;
    QByteArray login = {};
    /// Nothing but the closing says where the body ends: from this byte on a cut cannot be told from the end; -1: it
    /// can.
    qsizetype endsAnywhereFrom = -1;
    /// Without a cut it is status 0.
    bool isWhole = true;
};
QList<SoundAnswer> soundAnswers();

/// What the server sends before a case that does not begin at zero.
RawAnswer firstPartOf(FramingCase::Begin begin);
