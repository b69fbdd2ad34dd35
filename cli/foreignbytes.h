// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QString>

/// Names and words of the system, which are bytes: mostly UTF-8, and on old disks something else. Whatever comes in as
/// bytes becomes text here, so that none of them is ever taken for another one. A foreign byte, which is no part of a
/// character, stands in the text as half a character (U+DC80 to U+DCFF), which no text has otherwise. Such a text is to
/// be shown, put into an address, or refused; Qt's names of files have U+FFFD in that place. Pure.
namespace ForeignBytes
{

/// Nothing of the bytes is lost.
QString text(const QByteArray &bytes);
/// The bytes that the text was made of.
QByteArray bytes(const QString &text);
/// Whether there are foreign bytes in it.
bool areIn(const QString &text);
/// As an address has them: "%E9".
QString percentEncoded(const QString &text);
/// As people may read and type them: "\xe9".
QString shown(const QString &text);
/// What is to be said of a value that has some: a clause behind the value, and what to do. @param isPath a file is
/// meant, or a folder
QString problem(bool isPath);

}
