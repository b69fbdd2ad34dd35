// SPDX-License-Identifier: MIT
#pragma once

#include <inet/qt/download/records/abstracterror.h>

#include <string>
#include <string_view>

/// What an error of a file says besides its code, which puts several of the system's errors together. It stands behind
/// the place in the error's source, so that it goes wherever the error goes. Pure.
namespace FileError
{

inline constexpr std::string_view kNumber = ";errno=";
inline constexpr std::string_view kWhole = ";whole";

/// @param source where it arose @param number of the system's error; none above 0 = it has none
inline std::string sourceWith(const std::string &source, int number)
{
    return number <= 0 ? source : source + std::string(kNumber) + std::to_string(number);
}

/// The source of an error whose description is whole sentences, which name the file and the way out.
inline std::string wholeSource(const std::string &source)
{
    return source + std::string(kWhole);
}

/// The system's number; 0 = the error has none.
inline int numberOf(const AbstractError &error)
{
    const std::size_t at = error.source.find(kNumber);
    int number = 0;
    for (std::size_t i = at + kNumber.size(); at != std::string::npos && i < error.source.size(); ++i) {
        const char digit = error.source[i];
        if (digit < '0' || digit > '9' || number > 99999)
            break;
        number = number * 10 + (digit - '0');
    }
    return number;
}

/// Its description is whole sentences.
inline bool isWhole(const AbstractError &error)
{
    return error.source.size() >= kWhole.size()
        && std::string_view(error.source).substr(error.source.size() - kWhole.size()) == kWhole;
}

}
