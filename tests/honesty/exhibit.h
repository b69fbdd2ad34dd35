// SPDX-License-Identifier: MIT
#pragma once

#include <tests/honesty/fileversion.h>
#include <tests/support/scriptedrequest.h>
#include <tests/support/scriptedresponse.h>

#include <QByteArray>
#include <QList>

#include <functional>

/// A request as an exhibit's script sees it.
struct Asked {
    QByteArray path;
    bool isRange = false; ///< it has a Range field
    qint64 first = 0; ///< byte asked for
    qint64 last = FileVersion::kSize - 1; ///< asked for, within version number 0
    /// How many requests for Exhibit::kPath came before, since the server began to be as the exhibit says; 0 is the
    /// request that a visit begins with.
    int number = 0;
    /// It is of the run before the server began to be so; its number is 0.
    bool isPrelude = false;

    /// What the request says.
    static Asked of(const ScriptedRequest &request);
};

/// A server that does what servers were seen to do, and what counts as honest of a program that meets it.
struct Exhibit {
    /// When a program meets it.
    enum class Visit {
        AtOnce, ///< from the first request on
        AfterACut, ///< the first answer is what the script gives, and is cut in its middle
        TakenUpAgain, ///< in a second run; the first one, ended by Ctrl-C, had what the script gives to number 0
    };
    /// May keep in mind what it was asked: of a copy of its own.
    using Script = std::function<ScriptedResponse(const Asked &)>;

    static constexpr auto kPath = "/file.bin";

    QByteArray name = {}; ///< a sentence about the server; one of a kind
    QByteArray about = {}; ///< more of it, for the document
    Script script = {};
    QList<Visit> visits = {Visit::AfterACut, Visit::TakenUpAgain};
    /// There nothing stands in the way of the right file; else an error will do, too.
    QList<Visit> rightIn = {};
    /// What counts as the file.
    QList<FileVersion> versions = {FileVersion::number(0)};
    /// False: nothing in the answers tells; programs that take a checksum are given it.
    bool isKnowable = true;

    /// Whether that is a file that the server has.
    bool isRight(const QByteArray &content) const;
    bool hasToBeRightIn(Visit visit) const { return rightIn.contains(visit); }

    static QByteArray inWords(Visit visit);

    /// All that there are, room after room.
    static QList<Exhibit> all();
    static QList<Exhibit> ofRanges();
    static QList<Exhibit> ofVersions();
    static QList<Exhibit> ofPages();
    static QList<Exhibit> ofLengths();
};
