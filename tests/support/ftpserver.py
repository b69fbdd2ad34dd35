#!/usr/bin/python3
# SPDX-License-Identifier: MIT
"""An FTP server for tests, on a free port of 127.0.0.1.

Writes "port N" and then a line for everything that happens: "N open", "N COMMAND argument" and "N closed", where N is the
number of the control connection. Ends when its standard input does. A line there, behind a number of its own, sets how
it goes on; "done NUMBER" is the answer:

    rate N      later transfers get N bytes a second (0 = as fast as it goes)
    without X   the commands X (with commas) are unknown from now on
    short N     later transfers end after N bytes, as if that had been all
    mute 226    that status is not sent any more
"""
import argparse
import sys
import threading

from pyftpdlib.authorizers import DummyAuthorizer
from pyftpdlib.handlers import FileProducer, FTPHandler, ThrottledDTPHandler
from pyftpdlib.ioloop import IOLoop
from pyftpdlib.log import config_logging
from pyftpdlib.servers import FTPServer


def say(text):
    sys.stdout.write(text + "\n")
    sys.stdout.flush()


class DataConnection(ThrottledDTPHandler):
    limit = None

    def push_with_producer(self, producer):
        if DataConnection.limit is not None:
            producer = ShortProducer(producer.file, producer.type)
            producer.left = DataConnection.limit
        super().push_with_producer(producer)


class ShortProducer(FileProducer):
    left = 0

    def more(self):
        data = super().more()[: self.left]
        self.left -= len(data)
        return data


class Handler(FTPHandler):
    count = 0
    number = 0
    muted = set()

    def on_connect(self):
        Handler.count += 1
        self.number = Handler.count
        say("%d open" % self.number)

    def on_disconnect(self):
        say("%d closed" % self.number)

    def pre_process_command(self, line, cmd, arg):
        say("%d %s %s" % (self.number, cmd, arg))
        super().pre_process_command(line, cmd, arg)

    def respond(self, resp, logfun=None):
        if resp[:3] not in self.muted:
            super().respond(resp)


def obey(line):
    number, word, value = line.split()
    if word == "rate":
        DataConnection.write_limit = int(value)
    elif word == "without":
        Handler.proto_cmds = {k: v for k, v in Handler.proto_cmds.items() if k not in value.split(",")}
    elif word == "short":
        DataConnection.limit = int(value)
    elif word == "mute":
        Handler.muted = {value}
    say("done " + number)


def listen_to_orders(server):
    for line in sys.stdin:
        IOLoop.instance().call_later(0, obey, line)
    IOLoop.instance().call_later(0, server.close_all)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("folder")
    folder = parser.parse_args().folder
    config_logging(level=50)
    authorizer = DummyAuthorizer()
    authorizer.add_user("tester", "geheim:@/", folder, perm="elr")
    authorizer.add_anonymous(folder)
    Handler.authorizer = authorizer
    Handler.dtp_handler = DataConnection
    Handler.auth_failed_timeout = 0
    server = FTPServer(("127.0.0.1", 0), Handler)
    server.max_cons_per_ip = 0
    say("port %d" % server.address[1])
    threading.Thread(target=listen_to_orders, args=(server,), daemon=True).start()
    server.serve_forever(timeout=0.05, handle_exit=False)


main()
