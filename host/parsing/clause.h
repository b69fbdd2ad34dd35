// SPDX-License-Identifier: MIT
#pragma once

#include <QJsonValue>
#include <QLatin1StringView>
#include <QList>
#include <QMetaType>
#include <QString>
#include <QStringList>

/// What is said of something, as data: which clause it is, and what stands in it. Front ends make the words of it. What
/// others have said (the system, a library, a server) goes along in their words. A value; the default one says nothing.
struct Clause {
    enum class Kind {
        None,
        Told, ///< value: a clause of others, in their words and without a full stop
        Unknown, ///< of a later version
        // Of files in general.
        NoSuchFile,
        AFolder, ///< what lies where a file was expected
        ANamedPipe,
        ASocket,
        ADevice,
        ALinkToNothing,
        NotAFile, ///< of: what it is
        NotAFileBeside, ///< value: another file that belongs to it; of: what that is
        // Of the list of downloads.
        NoList, ///< but something else
        NoHomeFolder,
        FolderNotMade, ///< value: the folder
        FolderNotWritable, ///< the same
        FileNotWritable, ///< value: it
        ListNotOpen,
        ListInUse, ///< by another process, which has it to itself
        NotOfThisProcess, ///< there is no such download, or another process has it
        ProcessAtWork, ///< values: its number, the download's
        CannotSetAside, ///< of: why not
        CannotSetAsideDamaged, ///< the same
        JustSetAside, ///< by another process
        // What is wrong with it.
        Damaged, ///< of: what is wrong, may be left out
        SaidByCheck, ///< of: SQLite's own check
        FileNotChecked, ///< of: why not
        StrayRows, ///< which belong to nothing. Values: the table, their number
        DownloadUnreadable, ///< value: its number; of: why
        DownloadsUnreadable, ///< of: why
        UnusableColumn, ///< it holds what it cannot hold. Value: its name
        ObjectMissing, ///< values: kind and name of a table, index or trigger
        ObjectChanged, ///< the same
        ObjectOfOthers, ///< the same, and the table that it is on
        ObjectTooEarly, ///< kind and name; it comes with a later version only
        TablesOfVersion, ///< one that cannot be. Value: its number
        OfLaterVersion,
        OfLaterTables, ///< values: the version that its tables have, the last one that is known
        OfAnotherProgram,
        NoTableOfDownloads,
        NoColumnOfDownloads, ///< value: the column
        // What was not brought over of it, or not as it was.
        FilesOfOthers, ///< other downloads of the list are at its files
        TracesOnly,
        WithoutTable, ///< values: the table, numbers of downloads
        WithoutProgress, ///< value: numbers of downloads
        Renumbered, ///< value: how many have another number
        // Of how things stand.
        UnknownCommand, ///< of a later version
        EngineNotOpen,
        EngineOpen,
        EngineEnding,
        QueueClosed,
        WaitsOrRuns,
        WaitsOrRunsAlready,
        WaitsOrHasBegun,
        NeitherWaitsNorBegan,
        NotInQueue,
        NotPaused,
        Running,
        RunningOrEnding,
        BeingStopped,
        BeingRemoved,
        OtherBegun,
        Finished,
        Streamed,
        NotStreamed,
        NotSoMuchThere,
        QuestionClosed,
        NothingThere,
        SeveralConnections,
        HasGaps,
        NoOtherAddress,
        // Of files of downloads.
        FileGone, ///< value: its folder
        FileEndsEarly, ///< value: how many it has
        NotDeleted, ///< value: the file; of: why not
        NotRenamed, ///< of: why not
        AnotherFile,
        NoFolderMade, ///< value: where; of: why not
        // Of a file that another program has begun.
        FileEmpty,
        FileHasHoles,
        ChangedWhileCompared,
        NoteOfOthers, ///< value: a file beside it
        BegunBeside, ///< value: a file that was begun here
        BytesThere, ///< values: how many are there, of how many
        SentCompressed,
        ChangedJustNow, ///< of: in what
        LengthUnsaid,
        LongerThanServers, ///< values: its length, that of the server's
        RestNotSent,
        NoPartsToCompare,
        ChangedSince, ///< value: when, as "2024-03-01 12:30:00 UTC"
        OtherBytes, ///< value: where
        // Of what is on the server, and of checksums.
        OnlySizeSaid,
        NothingComparable,
        OtherSize, ///< values: both sizes in bytes
        SilentTooLong,
        EndsAfterFewBytes,
        HttpStatus, ///< value: it
        AnsweredWith, ///< the same
        OtherFile,
        NotTheRestAlone,
        NoReason,
        NotFetched,
        TooLargeForChecksums,
        NoListOfChecksums,
        NoChecksumOf, ///< value: the file's name
        ChecksumIs, ///< values: algorithm, the file's, the one that was meant
        DigestIs, ///< the same
        // Of modules and the network.
        NoEntryIn, ///< value: the name of the entry
        OtherInterface, ///< value: ours
        NoModuleIn,
        NamesNoHost,
        NoKindOfProxy, ///< value: its scheme
        OfVariable, ///< value: its name; of: what is wrong with what it says
        FarTooLarge,
        NoCertificates,
        NoCertificate,
        NoKey,
        KeyOfAnother,
        MachineHas, ///< value: the names of its interfaces
        // Of files that people write. Nothing of what they say is repeated where it may be secret.
        InLine, ///< value: its number; of: what is wrong
        NoCookieInLine, ///< the same
        StrayWord,
        NoWordBehind, ///< value: the keyword
        BeforeFirstMachine, ///< the same
        NumberOfFields, ///< value: how many
        NoDomain,
        SecondFieldNoTruth,
        FourthFieldNoTruth,
        FifthFieldNoSeconds,
        SymbolicLink,
        NoPlainFile,
        HasOtherName,
        OfSomebodyElse,
        // Of values of options; whole sentences. Values: how the option is called there, the value, and
        NoNumberFrom, ///< the least
        NoNumberBetween, ///< the least, the most
        NoTruth,
        NoRate,
        NoHours,
        NoSeconds, ///< the most
        NoChoice, ///< those that there are
        LineBreak,
        NoHeader, ///< nothing; the value is not shown
        RangeIsOurs, ///< instead of the value the header's name
        LengthIsOurs, ///< the same
        HostIsOfOne, ///< the same
        NoProxy, ///< of: why
        NoHostAddress,
        NoFileThere,
        NoJsonValue, ///< no value
        NoOption, ///< no value
        ValueOf, ///< of: a sentence about the value
        // The same, without the option.
        NoUrl, ///< value: it
        NoChecksum, ///< values: it, the algorithms
        ChecksumOfOtherLength, ///< values: it, the algorithm, how many
        NamesNoFile, ///< value: it
        NameOfDevice, ///< value: its path
        NameTooLong, ///< values: it, how many
    };
    static constexpr Kind kLast = Kind::NameTooLong;

    Clause() = default;
    /// @param told by others; empty = it says nothing
    Clause(const QString &told); // NOLINT(google-explicit-constructor)
    Clause(Kind which, const QStringList &words = {}); // NOLINT(google-explicit-constructor)
    Clause(Kind which, const QStringList &words, const Clause &within);

    bool isEmpty() const { return kind == Kind::None; }
    /// For logs and tests: the key and the values, as in "stray-rows(files, 3)".
    QString plain() const;

    /// What others told is a string, all else an object.
    QJsonValue toJson() const;
    static Clause fromJson(const QJsonValue &value);
    /// The kind as one word for programs.
    static QString keyOf(Kind kind);

    Kind kind = Kind::None;
    QStringList values; ///< as the kind says
    QList<Clause> of; ///< a clause within this one: none or one

    friend bool operator==(const Clause &one, const Clause &other);
    /// Any order that stays.
    friend bool operator<(const Clause &one, const Clause &other);
};
Q_DECLARE_METATYPE(Clause)
