#!/usr/bin/python3
"""pyagentx_rows.py SOCKET DUMP: an AgentX subagent in Python, on Debian's pyagentx, with the rows of entPhysicalTable that the
walker dumped.

Its two slow ways are taken out of the library, so that what is measured is a walk at Python's best: it formats every packet for a
debugging log that nobody reads, and looks for the next OID through all of them.
"""

import bisect
import struct
import sys

import pyagentx
import pyagentx.agent
import pyagentx.network

ENTRY = '1.3.6.1.2.1.47.1.1.1.1'


class Network(pyagentx.network.Network):
    def __init__(self, *arguments):
        super().__init__(*arguments)
        self.debug = 0
        self._keys = ()

    def _get_next_oid(self, oid, endoid):
        if len(self._keys) != len(self.data_idx):
            self._keys = [tuple(map(int, each.split('.'))) for each in self.data_idx]
        place = bisect.bisect_right(self._keys, tuple(map(int, oid.split('.'))))
        return self.data_idx[place] if place < len(self._keys) else None


class Rows(pyagentx.Updater):
    def update(self):
        setters = {2: lambda oid, text: self.set_INTEGER(oid, struct.unpack('=q', text)[0]),
                   4: lambda oid, text: self.set_OCTETSTRING(oid, text.decode('latin-1')),
                   6: lambda oid, text: self.set_OBJECTIDENTIFIER(
                       oid, '.'.join(map(str, struct.unpack(f'={len(text) // 8}Q', text))))}
        with open(sys.argv[2]) as dump:
            for line in dump:
                column, index, type_, value = line.split()
                setters[int(type_)](f'{column}.{index}', bytes.fromhex(value[1:]))


class Agent(pyagentx.Agent):
    def setup(self):
        self.register(ENTRY, Rows, freq=1e9)


pyagentx.SOCKET_PATH = sys.argv[1]
pyagentx.agent.Network = Network
Agent().start()
