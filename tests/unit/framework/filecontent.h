// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QFile>
#include <QString>
#include <QTest>

#include <cstdio>

/// Makes a file of that content.
inline void makeFile(const QString &path, const QByteArray &content = {})
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write(content), content.size());
}

/// Puts another file of that content in the place of what is there. It is made beside that, so that both are there at
/// one time and have nothing in common.
inline void exchange(const QString &path, const QByteArray &content)
{
    makeFile(path + QStringLiteral(".other"), content);
    QCOMPARE(
        ::rename(QFile::encodeName(path + QStringLiteral(".other")).constData(), QFile::encodeName(path).constData()),
        0);
}

inline QByteArray contentOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(no file)");
}
