// SPDX-License-Identifier: MIT
#pragma once

#include <QList>
#include <QString>

/// Text that may be shown and kept, made of text that holds secrets: "…" stands in their place. Pure.
namespace Redaction
{

struct Span {
    qsizetype begin = 0;
    qsizetype size = 0;

    friend bool operator==(const Span &, const Span &) = default;
};

/// Without the logins of URLs, of those within other URLs, too, percent-encoded or not.
QString logins(const QString &text);
/// Without logins, values of headers that may be secret, up to the line's end, and queries of URLs: for a log. Where a
/// line is a header alone, only those stay that are known to be harmless; within other text names decide that sound
/// like secrets.
QString line(const QString &text);
/// A word of the command line that makes no sense there: whatever of it might be a password goes.
QString typed(const QString &word);
/// Where an argument holds logins, of what may be no URL as well.
QList<Span> loginsInArgument(const QString &argument);

}
