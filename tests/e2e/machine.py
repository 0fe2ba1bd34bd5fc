"""A made-up machine: a tree that a collector in namespaces of its own takes for /sys, to be changed under its eyes."""

import os
import pathlib
import shutil
import subprocess
import tempfile

from harness import BUILD, Process, wait_until


FOLDERS = ('class', 'devices', 'bus', 'firmware')


class Machine:
    """Files and links as the kernel has them; all paths are given without the /sys in front."""

    def __init__(self, test):
        self.root = pathlib.Path(tempfile.mkdtemp(prefix='sys-'))
        test.addCleanup(shutil.rmtree, self.root)
        for folder in ('class/hwmon', 'class/net', 'devices', 'bus', 'firmware'):
            self.at(folder).mkdir(parents=True)
        self.folders = {}

    def at(self, path):
        return self.root / path

    def write(self, path, text):
        """Whole at once, as the kernel's are. None takes the file away."""
        file = self.at(path)
        if text is None:
            file.unlink(missing_ok=True)
            return
        file.parent.mkdir(parents=True, exist_ok=True)
        beside = self.root / 'being-written'
        if isinstance(text, bytes):
            beside.write_bytes(text)
        else:
            beside.write_text(f'{text}\n')
        beside.replace(file)

    def link(self, path, target):
        link = self.at(path)
        link.parent.mkdir(parents=True, exist_ok=True)
        link.symlink_to(os.path.relpath(self.at(target), link.parent))

    def chip(self, number, name, device, bus, **files):
        """A hwmon chip of a device below devices/; files are those of hwmon: temp1_input=41500."""
        at = f'devices/{device}'
        own = f'{at}/hwmon/hwmon{number}'
        self.write(f'{own}/name', name)
        if not self.at(f'{at}/subsystem').is_symlink():
            self.at(f'bus/{bus}').mkdir(exist_ok=True)
            self.link(f'{at}/subsystem', f'bus/{bus}')
        for file, value in files.items():
            self.write(f'{own}/{file}', value)
        self.link(f'{own}/device', at)
        self.link(f'class/hwmon/hwmon{number}', own)
        self.folders[name, device] = own

    def set(self, name, device, **files):
        for file, value in files.items():
            self.write(f'{self.folders[name, device]}/{file}', value)

    def gone(self, name, device):
        """A driver is unbound from its device."""
        own = self.folders.pop((name, device))
        self.at('class/hwmon', ).joinpath(pathlib.Path(own).name).unlink()
        shutil.rmtree(self.at(own))

    @staticmethod
    def number(chip):
        return int(chip[1].rpartition('hwmon')[2])

    def renumber(self, offset):
        """All chips get other numbers, as after another start."""
        for (name, device), own in sorted(self.folders.items(), key=self.number, reverse=offset > 0):
            number = self.number((None, own)) + offset
            other = f'{pathlib.Path(own).parent}/hwmon{number}'
            self.at(own).rename(self.at(other))
            self.at(f'class/hwmon/{pathlib.Path(own).name}').unlink()
            self.link(f'class/hwmon/hwmon{number}', other)
            self.folders[name, device] = other

    def exchange(self, *chips):
        """Two chips exchange their numbers."""
        links = [self.at(f'class/hwmon/{pathlib.Path(self.folders[chip]).name}') for chip in chips]
        names = [link.name for link in links]
        owns = [self.folders[chip] for chip in chips]
        aside = self.root / 'aside'
        for own, name, chip in zip(owns, reversed(names), chips):
            other = f'{pathlib.Path(own).parent}/{name}'
            self.at(own).rename(self.at(other))
            self.folders[chip] = other
        for link, chip in zip(reversed(links), chips):
            aside.symlink_to(os.path.relpath(self.at(self.folders[chip]), link.parent))
            aside.replace(link)

    def adapter(self, number, device, name):
        """An I2C bus of a device, where chips may then be put below; its path."""
        self.write(f'devices/{device}/i2c-{number}/name', name)
        return f'{device}/i2c-{number}'


class Collector(Process):
    """A running orvane-linux on a machine, in namespaces of its own; nothing of the real one is seen but the folders of the tests.

    `map` is the text of its map, `setup` a shell line that is run in the namespaces first, `socket` the agent's.
    """

    def __init__(self, machine, socket, map='', setup='', options=()):
        self.machine, self._socket, self.map, self._setup, self._options = machine, socket, map, setup, list(options)
        super().__init__('orvane-linux')

    @property
    def places(self):
        return self.folder / 'places.json'

    def start(self):
        self.write_map()
        self._spawn(self.command('--socket', self._socket))

    def write_map(self):
        (self.folder / 'linux.yaml').write_text(self.map)

    def command(self, *arguments):
        # libsensors wants a real /sys, so it stays, and what is in it is another's.
        mounts = ' && '.join(f'mount --bind {self.machine.root}/{folder} /sys/{folder}' for folder in FOLDERS)
        return ['unshare', '-rmn', 'sh', '-c', f'{mounts} && {self._setup or ":"} && exec "$0" "$@"',
                BUILD / 'orvane-linux', '--map', self.folder / 'linux.yaml', '--places', self.places, *self._options, *arguments]

    def inside(self, command):
        """Runs a shell line in its namespaces."""
        subprocess.run(['nsenter', '--preserve-credentials', '-U', '-m', '-n', '-t', str(self.pid), 'sh', '-c', command],
                       check=True, capture_output=True)

    def wait_for_agent(self):
        wait_until(lambda: 'at the agent' in self.log() or 'to the agent' in self.log() or self._process.poll() is not None)
        assert self._process.poll() is None, self.log()
