// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <QtGlobal>

/// What a front end does to an engine at random, and the files it does it with, as values that follow from a seed.

/// A file of a server, and how it is served until it is soothed.
struct CommandFile {
    enum class Manner {
        Sound,
        Slow,
        Cut, ///< the connection ends in the middle of the body
        Changed, ///< after some answers it is another file, and stays so
        Missing,
        Busy, ///< 503, and when to come back
        NoRanges,
        Chunked,
        NoLength, ///< the end of the connection ends it
        Silent, ///< the head is held back
        Stalled, ///< the body is held back
    };

    Manner manner = Manner::Sound;
    quint64 content = 0; ///< seed of TestFiles
    qint64 size = 0;
    qint64 laterSize = 0; ///< of what it is changed to, which has the next seed
    qint64 bytesPerSecond = 0; ///< 0 = no limit
    int wrongAnswers = 0; ///< before sound ones
    bool hasChecksum = false; ///< a person gave the right one
    bool isInTheWay = false; ///< a file of its name is there
    int onExists = 0; ///< AbstractDownloadExistingFileReaction
    int onChanged = 0; ///< Trouble::Policy
    int onUnresumable = 0; ///< likewise

    /// One of those that the server has or had.
    bool isVersion(const QByteArray &bytes) const;
    /// The beginning of one.
    bool isBeginning(const QByteArray &bytes) const;
    /// Each byte is of one of two versions of the same length.
    bool isMixture(const QByteArray &bytes) const;
    QString inWords() const;
};

/// One thing that happens to the engine.
struct CommandStep {
    enum class Kind {
        Add,
        Pause,
        Resume,
        Restart,
        FinishNow,
        Remove,
        Check,
        Query,
        SetUrl,
        Move,
        SetLimits,
        SetOptions,
        PauseAll,
        ResumeAll,
        SetGlobalLimits,
        SetMostAtOnce,
        Answer, ///< a question that is open
        Look, ///< at one, at a page, at the questions
        Busy, ///< somebody else writes into the list for a while
        Close, ///< and begin anew
        Kill, ///< the same without a word
    };

    Kind kind = Kind::Add;
    int afterMs = 0; ///< since the one before
    int which = 0; ///< file, download or question: of those that there are, counted around
    qint64 value = 0; ///< place, limit, number, time in ms
    bool flag = false; ///< begin it; with its file; by force

    QString inWords() const;
};

struct CommandWorld {
    static constexpr int kKinds = int(CommandStep::Kind::Kill) + 1;

    QList<CommandFile> files;
    QList<CommandStep> steps;
    bool canAsk = false;
    int atOnce = 1;
    int connections = 1;

    static CommandWorld fromSeed(quint32 seed);
    /// Of the file with this number, the same in every world.
    static QString nameOf(int file);
    QString inWords() const;
};

QString inWords(CommandStep::Kind kind);
