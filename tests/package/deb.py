"""The package that scripts/package has built."""

import pathlib
import re
import subprocess

ROOT = pathlib.Path(__file__).resolve().parents[2]
VERSION = re.search(r'project\(orvane VERSION (\S+)', (ROOT / 'CMakeLists.txt').read_text())[1]
ARCHITECTURE = subprocess.check_output(['dpkg', '--print-architecture'], text=True).strip()
TRIPLET = subprocess.check_output(['dpkg-architecture', '-qDEB_HOST_MULTIARCH'], text=True).strip()
DEB = ROOT / f'build/release/orvane_{VERSION}_{ARCHITECTURE}.deb'

MODULE = f'/usr/lib/{TRIPLET}/snmp/dlmod/orvane.so'
SWITCH_CONF = '/etc/snmp/snmpd.conf.d/orvane.conf'
MODULE_CONF = '/etc/snmp/orvane/module.conf'
DAEMON_CONF = '/etc/snmp/orvaned.conf'
