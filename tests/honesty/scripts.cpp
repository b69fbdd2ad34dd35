// SPDX-License-Identifier: MIT
#include <tests/honesty/scripts.h>

Exhibit::Script Scripts::later(const Exhibit::Script &answer)
{
    return [answer](const Asked &asked) { return asked.number == 0 ? FileVersion::number(0).sound() : answer(asked); };
}

Exhibit::Script Scripts::laterRanges(const Exhibit::Script &answer)
{
    return later(
        [answer](const Asked &asked) { return asked.isRange ? answer(asked) : FileVersion::number(0).sound(); });
}

Exhibit::Script Scripts::changed(const FileVersion &first, const FileVersion &then)
{
    return [=](const Asked &asked) { return asked.number == 0 ? first.sound() : then.sound(); };
}

Exhibit::Script Scripts::inTurn(const FileVersion &one, const FileVersion &other)
{
    return [=](const Asked &asked) { return asked.number % 2 == 0 ? one.sound() : other.sound(); };
}

ScriptedResponse Scripts::page(int status, const QByteArray &words)
{
    ScriptedResponse response = ScriptedResponse::error(status);
    response.body = "<!DOCTYPE html>\n<html><head><title>" + words + "</title></head>\n<body><h1>" + words + "</h1>\n"
        + QByteArray("<p>Please turn to whoever looks after this network.</p>\n").repeated(12) + "</body></html>\n";
    response.headers = {{"Content-Type", "text/html; charset=utf-8"}, {"Cache-Control", "no-store"}};
    return response;
}
