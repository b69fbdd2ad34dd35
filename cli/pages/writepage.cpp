// SPDX-License-Identifier: MIT
#include <cli/pages/completions.h>
#include <cli/pages/manpages.h>

#include <QFile>
#include <QStringList>

#include <cstdio>

using namespace Qt::StringLiterals;

namespace
{

/// Empty = there is no such page.
QString page(const QString &kind, const QString &manual)
{
    if (kind == "plait.1"_L1)
        return ManPages::ofProgram(manual);
    if (kind == "plait.conf.5"_L1)
        return ManPages::ofSettings(manual);
    if (kind == "bash"_L1)
        return Completions::forBash();
    if (kind == "zsh"_L1)
        return Completions::forZsh();
    return kind == "fish"_L1 ? Completions::forFish() : QString();
}

QString textOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

bool write(const QString &path, const QByteArray &text)
{
    QFile file(path);
    return !text.isEmpty() && file.open(QIODevice::WriteOnly) && file.write(text) == text.size() && file.flush();
}

}

/// writepage KIND MANUAL FILE: writes one of the pages into a file.
int main(int argc, char *argv[])
{
    QStringList words;
    for (int i = 1; i < argc; ++i)
        words.append(QString::fromLocal8Bit(argv[i]));
    const QString manual = textOf(words.value(1));
    if (!manual.isEmpty() && write(words.value(2), page(words.value(0), manual).toUtf8()))
        return 0;
    std::fprintf(stderr, "writepage: cannot write the page \"%s\" of \"%s\" into \"%s\"\n", qPrintable(words.value(0)),
                 qPrintable(words.value(1)), qPrintable(words.value(2)));
    return 1;
}
