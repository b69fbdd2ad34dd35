// SPDX-License-Identifier: MIT
#include <cli/nextcommand.h>

#include <QRegularExpression>

using namespace Qt::StringLiterals;

namespace
{

struct Files {
    QString list;
    QString config;
};

Files &files()
{
    static Files typed;
    return typed;
}

QString option(const QString &name, const QString &path)
{
    if (path.isEmpty())
        return {};
    return u' ' + name + (path.startsWith(u'-') ? u'=' : u' ') + NextCommand::quoted(path);
}

}

void NextCommand::setFiles(const QString &list, const QString &config)
{
    files() = {list, config};
}

QString NextCommand::line(const QString &words)
{
    return lineFor(files().list, words);
}

QString NextCommand::lineFor(const QString &list, const QString &words)
{
    return u"plait "_s + words + option(u"--list"_s, list) + option(u"--config"_s, files().config);
}

QString NextCommand::quoted(const QString &word)
{
    static const QRegularExpression plain(u"^[\\w./:,+@%=-]+$"_s, QRegularExpression::UseUnicodePropertiesOption);
    QString inside = word;
    return plain.match(word).hasMatch() ? word : u'\'' + inside.replace(u'\'', u"'\\''"_s) + u'\'';
}
