// SPDX-License-Identifier: MIT
#pragma once

#include <QFlags>
#include <QString>
#include <QStringList>
#include <QVariant>

struct DownloadOptions;

/// What an option stores of a download, and how. Where the two are null, that is somebody else's work.
struct OptionField {
    /// @param value as OptionValue::fromText() makes it
    void (*put)(const QVariant &value, DownloadOptions &options) = nullptr;
    /// Invalid = the download says nothing of it.
    QVariant (*shown)(const DownloadOptions &options) = nullptr;
    /// A new download gets the default where nothing was said; else it stays open what holds.
    bool beginsWithDefault = false;
};

/// One thing that people may choose: what it is called, what it may be, where it may stand, what it means. A row of
/// OptionTable; whoever reads, prints or describes options does it from this alone.
struct OptionRow {
    enum class Type {
        Flag, ///< bool
        Number, ///< qint64 from least to most
        Rate, ///< qint64, bytes a second; "500K", "2.5M". A QString where it depends on the hour, see RatesOfDay
        Times, ///< hours of the day; "01:00-07:00", see TimesOfDay
        Seconds, ///< qint64, milliseconds; written in seconds, "0.25"
        Choice, ///< one word of `choices`
        Text,
        Line, ///< text without a line break
        Path, ///< of a file; relative to where one stands
        ExistingFile, ///< a Path to a file that is there
        Folder, ///< the Path of a folder
        Program, ///< the Path of a program, or its name
        FileName, ///< text: a name or a path
        FileOrUrl, ///< text: a path or an address
        Url,
        Proxy,
        Header, ///< "Name: value", for one server
        HeaderForAll, ///< the same, for every server
        Login, ///< "name" or "name:password"
        Checksum, ///< "sha-256=HEX"
        HostAddress, ///< "HOST:PORT:ADDRESS"
    };
    enum Place {
        CommandLine = 1,
        SettingsFile = 2,
        Download = 4, ///< the list keeps it for each download, and it may be changed there
        Service = 8, ///< who asks over a network may give it
        Listed = 16, ///< each address of a list of them may have its own
    };
    Q_DECLARE_FLAGS(Places, Place)

    const char *name = nullptr; ///< without dashes, unique
    char letter = 0; ///< 0 = none
    const char *otherNames = nullptr; ///< as good as the name, parted by blanks; what other programs call the same
    /// What it belongs to; commands and manual have all options of a group, or none.
    const char *group = nullptr;
    Type type = Type::Flag;
    qint64 least = 0; ///< Number
    qint64 most = 0; ///< Number; Seconds: in seconds
    const char *choices = ""; ///< parted by blanks
    const char *fallback = ""; ///< what holds where nothing is said, as it would be written; empty = nothing does
    const char *valueName = ""; ///< "FILE"; a flag has none
    bool repeats = false; ///< may be given several times; all of them count
    bool isSecret = false; ///< not to be seen by other users of the machine
    Places places{};
    const char *excludes = nullptr; ///< name of another option that cannot stand beside it
    const char *help = nullptr; ///< a line for a terminal
    const char *manual = nullptr; ///< Markdown; null = as help. Like help, it says nothing of how options are typed
    OptionField field{};

    /// The name, and all that are as good.
    QStringList names() const
    {
        return QString::fromLatin1(name).split(u' ') + QString::fromLatin1(otherNames).split(u' ', Qt::SkipEmptyParts);
    }

    /// Whether files of settings and lists may begin the value with "~" or a variable.
    bool isPath() const
    {
        return type == Type::Path || type == Type::ExistingFile || type == Type::Folder || type == Type::Program;
    }
};

Q_DECLARE_OPERATORS_FOR_FLAGS(OptionRow::Places)
