"""Publishes parts, states and readings of a switch to a running Orvane agent, through the socket that orvanePublish names.

    from orvane_publish import Publisher

    with Publisher('thermal', ['tempStatus'], lease=30) as thermal:
        while True:
            thermal.patch({'tempStatus': {'tempSensor': {'TempSensor1': {'temperature': read_sensor()}}}})
            thermal.sleep(5)

orvane-publish(5) tells what may be said, orvane-inventory(5) all names and values. What an agent refuses raises Refused and leaves
everything as it was. An agent that is not there is waited for: when it is back, all that still holds is said again.
"""

import copy
import json
import os
import socket
import time
from collections.abc import Iterable
from typing import Any

__all__ = ['DEFAULT_SOCKETS', 'Publisher', 'Refused', 'Unreachable', 'merged']

# Where the socket is sought: those that the package's configurations name, of the module and of the daemon.
DEFAULT_SOCKETS = ('/run/orvane-publish/publish.sock', '/run/orvaned-publish/publish.sock')

Content = dict[str, Any]


class Refused(Exception):
    """The agent has refused a message, whole."""

    def __init__(self, reason: str, place: str = ''):
        super().__init__(f'{place}: {reason}' if place else reason)
        self.reason = reason
        self.place = place


class Unreachable(Exception):
    """There has been no agent to talk to for as long as the publisher has patience."""


def merged(target: Any, patch: Any, keep_nulls: bool = False) -> Any:
    """The target with a merge patch applied (RFC 7396). With `keep_nulls` the target is a patch itself, and so is the result: what
    one of the two takes away, it takes away."""
    if not isinstance(patch, dict):
        return copy.deepcopy(patch)
    result = dict(target) if isinstance(target, dict) else {}
    for name, value in patch.items():
        if value is None and not keep_nulls:
            result.pop(name, None)
        else:
            result[name] = merged(result.get(name), value, keep_nulls)
    return result


def default_socket() -> str:
    """$ORVANE_PUBLISH_SOCKET, or the first of the usual sockets that is there."""
    return os.environ.get('ORVANE_PUBLISH_SOCKET') or next(filter(os.path.exists, DEFAULT_SOCKETS), DEFAULT_SOCKETS[0])


class Publisher:
    """One who speaks for some places of the switch: its claims, paths as orvane-inspect spells them below "input". Its word holds
    for `lease` seconds (up to 86400) after the last thing it said; then records of its claims are withdrawn, and so are its parts
    where `parts` is "withdraw". The connection is made with the first thing that is said; `patience` is for how many seconds an
    agent that is not there is waited for each time, None for ever."""

    def __init__(self, name: str, claims: Iterable[str], *, lease: float = 60, parts: str = 'keep', socket_path: str | None = None,
                 patience: float | None = None):
        self.name = name
        self.claims = list(claims)
        self.lease = lease
        self.parts = parts
        self.socket_path = socket_path or default_socket()
        self.patience = patience
        self._socket: socket.socket | None = None
        self._answers: Any = None
        self._heard = 0.0
        self._set: Content | None = None  # the last, with the patches since
        self._patch: Content | None = None  # those that no set came before

    def __enter__(self) -> 'Publisher':
        self.connect()
        return self

    def __exit__(self, *_: object) -> None:
        self.close()

    def connect(self) -> None:
        """Connects, where it is not connected, and says again all that holds."""
        if self._socket is None:
            self._until_heard(None)

    def set(self, content: Content) -> list[str]:
        """Says all there is of the claims; what is there and not in it goes. The places that wait for a part to stand in."""
        waits = self._say({'set': content})
        self._set, self._patch = copy.deepcopy(content), None
        return waits

    def patch(self, content: Content) -> list[str]:
        """Changes some of it, by a merge patch: None takes away a part or a record, and gives an attribute its default back."""
        waits = self._say({'patch': content})
        if self._set is not None:
            self._set = merged(self._set, content)
        else:
            self._patch = merged(self._patch, content, keep_nulls=True)
        return waits

    def alive(self) -> None:
        """Nothing new, but still here."""
        self._say({'alive': True})

    def bye(self) -> None:
        """Withdraws all that was said, and closes. With no agent there, there is nothing to withdraw."""
        self._set = self._patch = None
        try:
            if self._socket is not None:
                self._ask({'bye': True})
        except OSError:
            pass
        self.close()

    def close(self) -> None:
        """Closes the connection. What was said holds until the lease is over."""
        if self._socket is not None:
            self._answers.close()
            self._socket.close()
            self._socket = None

    @property
    def due(self) -> float:
        """In how many seconds a sign of life is due: well before the lease is over."""
        return max(0.0, self._heard + self.lease / 3 - time.monotonic())

    def sleep(self, seconds: float) -> None:
        """Sleeps, and tells the agent in between that it is still here."""
        end = time.monotonic() + seconds
        while (left := end - time.monotonic()) > 0:
            if self.due == 0:
                self.alive()
            else:
                time.sleep(min(left, self.due))

    def _say(self, message: Content) -> list[str]:
        try:
            if self._socket is not None:
                return self._ask(message)
        except OSError:
            self.close()
        except Refused as refusal:
            if not refusal.reason.startswith('its lease is over'):
                raise
            self.close()
        return self._until_heard(message)

    def _until_heard(self, message: Content | None) -> list[str]:
        """Connects as often as it takes, says what holds and then the message."""
        began = time.monotonic()
        pause = 0.1
        while True:
            try:
                self._connect()
                return self._ask(message) if message is not None else []
            except OSError as error:
                self.close()
                if self.patience is not None and time.monotonic() + pause - began > self.patience:
                    raise Unreachable(f'{self.socket_path}: {error.strerror or error}') from error
            except BaseException:
                self.close()
                raise
            time.sleep(pause)
            pause = min(pause * 2, 10)

    def _connect(self) -> None:
        self._socket = socket.socket(socket.AF_UNIX)
        self._answers = self._socket.makefile('rb')
        self._socket.connect(self.socket_path)
        self._ask({'publisher': self.name, 'claims': self.claims, 'lease': self.lease, 'parts': self.parts})
        if self._set is not None:
            self._ask({'set': self._set})
        elif self._patch is not None:
            self._ask({'patch': self._patch})

    def _ask(self, message: Content) -> list[str]:
        assert self._socket is not None
        self._socket.sendall(json.dumps(message).encode() + b'\n')
        line = self._answers.readline()
        if not line.endswith(b'\n'):
            raise ConnectionResetError('the agent has closed the connection')
        self._heard = time.monotonic()
        answer = json.loads(line)
        if 'error' in answer:
            if answer['error'].endswith('are connected already'):
                raise ConnectionRefusedError(answer['error'])
            raise Refused(answer['error'], answer.get('place', ''))
        return answer.get('waits', [])
