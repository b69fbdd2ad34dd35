// SPDX-License-Identifier: MIT
#include <host/engine/downloadstate.h>

namespace
{

using State = DownloadState;
using Table = StateTable<State>;

constexpr Table::Name kNames[] = {
    {State::Waiting, "Waiting"},   {State::Running, "Running"}, {State::Resting, "Resting"}, {State::Asking, "Asking"},
    {State::Checking, "Checking"}, {State::Hashing, "Hashing"}, {State::Paused, "Paused"},   {State::Failed, "Failed"},
    {State::Done, "Done"},         {State::Removed, "Removed"},
};

constexpr Table::Exit kExits[] = {
    {State::Waiting, State::Running, "a place is free, and its server may have one more connection"},
    {State::Waiting, State::Resting,
     "a place is free, and no connection, it is not the hour, the list is in use, or its process may have died"},
    {State::Waiting, State::Failed, "it is another process's, or does not fit on the disk"},
    {State::Waiting, State::Done, "a file of its name is there, and that will do"},
    {State::Waiting, State::Paused, "pause"},
    {State::Running, State::Resting,
     "failed, may pass (back-off, Retry-After), another address is left, restart, or its hours are over"},
    {State::Running, State::Asking, "changed or cannot be resumed, and somebody is there"},
    {State::Running, State::Hashing, "the file is there and has a checksum, or its server names a digest"},
    {State::Running, State::Done, "the file is there"},
    {State::Running, State::Failed, "for good"},
    {State::Running, State::Paused, "pause, once all is saved"},
    {State::Resting, State::Running, "the time is up"},
    {State::Resting, State::Failed, "it is another process's, or does not fit on the disk any more"},
    {State::Resting, State::Done, "a file of its name is there, and that will do"},
    {State::Resting, State::Paused, "pause"},
    {State::Asking, State::Running, "yes, from the beginning"},
    {State::Asking, State::Resting, "yes, and no connection is free, or it is not the hour"},
    {State::Asking, State::Failed, "no"},
    {State::Asking, State::Paused, "pause"},
    {State::Hashing, State::Done, "equal"},
    {State::Hashing, State::Failed, "different, or cannot be read"},
    {State::Hashing, State::Paused, "pause"},
    {State::Checking, State::Paused, "answered, of one that is unfinished"},
    {State::Checking, State::Failed, "answered, of one that failed"},
    {State::Checking, State::Done, "answered, of one that is done"},
    {State::Paused, State::Waiting, "resume"},
    {State::Paused, State::Checking, "check"},
    {State::Paused, State::Removed, "remove"},
    {State::Failed, State::Waiting, "resume, restart"},
    {State::Failed, State::Paused, "another address, or another checksum"},
    {State::Failed, State::Checking, "check"},
    {State::Failed, State::Removed, "remove"},
    {State::Done, State::Waiting, "restart, compare"},
    {State::Done, State::Paused, "another checksum"},
    {State::Done, State::Checking, "check"},
    {State::Done, State::Removed, "remove"},
};

constexpr Table kTable(kNames, kExits);

}

const StateTable<DownloadState> &downloadStates()
{
    return kTable;
}
