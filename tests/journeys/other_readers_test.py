"""Other readers of Access 2000 files see what Corvix writes, and Corvix sees what they see in real files.

Usage: other_readers_test.py PATH-OF-CORVIX-CLI PATH-OF-JET-SAMPLE DIRECTORY-FOR-PACKAGES

A reader that cannot be had here (not installed, no network) is skipped.
"""
import base64
import glob
import json
import os
import shutil
import subprocess
import sys
import tempfile
import unittest
from datetime import datetime, timedelta
from decimal import Decimal, InvalidOperation

CLI, JET_SAMPLE, PACKAGES = map(os.path.abspath, sys.argv[1:4])
del sys.argv[1:4]
CHECKOUT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
REAL = os.path.join(os.environ.get('CORVIX_SHARED', os.path.join(os.path.dirname(CHECKOUT), 'shared')),
                    'fixtures', 'mdb', 'real')
TABLES = ['COMPS', 'Kinds', 'Parents', 'Children', 'Extremes']
DAY_ZERO = datetime(1899, 12, 30)


def run(*command, **options):
    return subprocess.run(command, capture_output=True, timeout=240, **options)


def dump(database, table):
    done = run(CLI, 'dump', database, table)
    if done.returncode != 0:
        raise AssertionError(done.stderr.decode())
    return [json.loads(line) for line in done.stdout.splitlines()]


def until_zero(value):
    return value.split(b'\0' if isinstance(value, bytes) else '\0')[0]


def same_decimal(ours, theirs):
    try:
        return Decimal(ours) == Decimal(theirs)
    except InvalidOperation:
        return False


def tables_of(database):
    names = run('mdb-tables', '-S', '-1', database).stdout.decode()
    return [name for name in names.split('\n') if name]


def mdb_json(database, table):
    done = run('mdb-json', '-T', '%Y-%m-%dT%H:%M:%S', database, table, env={**os.environ, 'LC_ALL': 'C.UTF-8'})
    return [json.loads(line, strict=False, parse_float=str) for line in done.stdout.decode().split('\n') if line]


def is_cut_at_zero(ours, theirs):
    """Text and bytes end at the first zero; what begins with one is left out."""
    if isinstance(theirs, dict):
        return bytes_of(theirs) == until_zero(base64.b64decode(ours))
    return until_zero(ours) == theirs or (theirs is None and not until_zero(base64.b64decode(ours)))


def bytes_of(theirs):
    return base64.b64decode(theirs['$binary'])


def is_to_the_second(ours, theirs):
    return len(ours) > 19 and abs(datetime.fromisoformat(ours) - datetime.fromisoformat(theirs)) < timedelta(seconds=1)


# How mdb-json shows values in other ways than they are in the file. Each explains a difference of two values.
WAYS_OF_MDB_JSON = {
    'number of a boolean': lambda ours, theirs: isinstance(ours, bool) and int(ours) == theirs,
    'bytes': lambda ours, theirs: bytes_of(theirs) == base64.b64decode(ours),
    'decimal': same_decimal,
    'digits of a double': lambda ours, theirs: float(theirs) == ours,
    'greatest double': lambda ours, theirs: abs(ours) == sys.float_info.max and float(theirs) == ours * 2,  # rounded up
    'digits of a single': lambda ours, theirs: abs(float(theirs) - ours) <= 1e-7 * abs(ours),
    'empty text': lambda ours, theirs: ours == '' and theirs is None,
    'cut at zero': is_cut_at_zero,
    'time to the second': is_to_the_second,
    'early or late date': lambda ours, theirs: not '1900' < ours < '9999' and theirs.startswith('1900-01-00'),
    'GUID short of a hyphen': lambda ours, theirs: bytes_of(theirs).decode().replace('-', '') == ours.replace('-', ''),
    'beyond 16 bits': lambda ours, theirs: ''.join(c if c <= '\uffff' else '??' for c in ours) == theirs,
}

# Values of real files that mdb-json does not give as they are, and why.
KNOWN_DIFFERENCES = {'Data of MSysAccessObjects': 'an opaque type that mdb-json leaves out'}


def explains(way, ours, theirs):
    try:
        return way(ours, theirs)
    except (TypeError, ValueError, AttributeError):  # values of other types than this way is about
        return False


def mdb_json_shows(ours, theirs):
    return ours == theirs or any(explains(way, ours, theirs) for way in WAYS_OF_MDB_JSON.values())


def without_partner(table, ours, theirs):
    """Rows that only one of the two shows. mdb-json has moved rows at the place where they now are."""
    missing, theirs = [], list(theirs)
    for row in ours:
        compared = {name: value for name, value in row.items() if f'{name} of {table}' not in KNOWN_DIFFERENCES}
        for at, other in enumerate(theirs):
            if all(mdb_json_shows(value, other.get(name)) for name, value in compared.items()):
                del theirs[at]
                break
        else:
            missing.append(row)
    return missing, theirs


MDB_READER_PROGRAM = '''
import {readFileSync} from "node:fs";
import MDBReader from "mdb-reader";
const reader = new MDBReader(readFileSync(process.argv[2]));
const shown = (value) => value instanceof Uint8Array ? Buffer.from(value).toString("base64")
  : value instanceof Date ? value.toISOString().slice(0, 19) : value;
for (const table of reader.getTableNames()) {
  for (const row of reader.getTable(table).getData()) {
    for (const name in row) row[name] = shown(row[name]);
    console.log(JSON.stringify([table, row]));
  }
}
'''


def mdb_reader_shows(ours, theirs):
    """mdb-reader gives GUIDs without braces and decimals with all their places; the time of days before day 0 it
    counts backwards, and it cuts seconds off instead of rounding them."""
    if ours == theirs:
        return True
    if not isinstance(ours, str) or not isinstance(theirs, str):
        return False
    if len(ours) >= 19 and ours[10] == 'T':
        day, time = ours.split('T')
        of_day = datetime.fromisoformat(ours) - datetime.fromisoformat(day)
        counted = datetime.fromisoformat(day) + (of_day if datetime.fromisoformat(ours) >= DAY_ZERO else -of_day)
        return abs(datetime.fromisoformat(theirs) - counted) <= timedelta(seconds=1)
    return ours.strip('{}').lower() == theirs or same_decimal(ours, theirs)


class OurFiles(unittest.TestCase):
    """A plain and an encoded database with columns of all types, indexes, a relationship and extreme values."""

    @classmethod
    def setUpClass(cls):
        cls.directory = tempfile.mkdtemp(prefix='corvix-')
        cls.addClassCleanup(shutil.rmtree, cls.directory)
        subprocess.run([JET_SAMPLE, cls.directory], check=True, timeout=60)
        cls.databases = [os.path.join(cls.directory, name) for name in ('sample.mdb', 'encoded.mdb')]

    def test_we_read_what_was_written(self):
        with open(os.path.join(self.directory, 'Extremes.jsonl'), encoding='ascii') as file:
            written = [json.loads(line) for line in file]
        for database in self.databases:
            self.assertEqual([list(row.values()) for row in dump(database, 'Extremes')], written)
            checked = run(CLI, 'check', '--notes', database)
            self.assertEqual(checked.returncode, 0, checked.stdout)
            self.assertIn(b'note: page 17: the validation rule >0 of Kinds.Whole is not evaluated', checked.stdout)

    @unittest.skipUnless(shutil.which('mdb-json'), 'mdbtools are not installed')
    def test_mdbtools_read_the_same(self):
        for database in self.databases:
            self.assertEqual([name for name in tables_of(database) if not name.startswith('MSys')], TABLES)
            for table in TABLES:
                alone = without_partner(table, dump(database, table), mdb_json(database, table))
                self.assertEqual(alone, ([], []), (database, table))

    def test_mdb_reader_reads_the_same(self):
        os.makedirs(PACKAGES, exist_ok=True)
        if not os.path.isdir(os.path.join(PACKAGES, 'node_modules', 'mdb-reader')):
            if not shutil.which('npm'):
                self.skipTest('npm is not installed')
            got = run('npm', 'install', '--no-audit', '--no-fund', '--ignore-scripts', '--fetch-retries=0',
                      '--fetch-timeout=30000', 'mdb-reader@3.2.0', cwd=PACKAGES)
            if got.returncode != 0:
                self.skipTest('npm cannot get mdb-reader: ' + got.stderr.decode()[-200:])
        program = os.path.join(PACKAGES, 'read.mjs')
        with open(program, 'w', encoding='ascii') as file:
            file.write(MDB_READER_PROGRAM)
        for database in self.databases:
            done = run('node', program, database)
            self.assertEqual(done.returncode, 0, done.stderr)
            theirs = {table: [] for table in TABLES}
            for line in done.stdout.decode().split('\n')[:-1]:
                table, row = json.loads(line)
                theirs[table].append(row)
            for table in TABLES:
                ours = dump(database, table)
                self.assertEqual(len(ours), len(theirs[table]))
                for row, other in zip(ours, theirs[table]):
                    self.assertEqual(list(row), list(other))
                    different = [(name, value, other[name]) for name, value in row.items()
                                 if not mdb_reader_shows(value, other[name])]
                    self.assertEqual(different, [], (database, table))


@unittest.skipUnless(os.path.isdir(REAL) and shutil.which('mdb-json'), 'no shared files, or no mdbtools')
class RealFiles(unittest.TestCase):
    def test_mdbtools_read_the_same(self):
        values = 0
        for database in sorted(glob.glob(os.path.join(REAL, '*.mdb'))):
            for table in tables_of(database):
                ours = dump(database, table)
                self.assertEqual(without_partner(table, ours, mdb_json(database, table)), ([], []), (database, table))
                values += sum(map(len, ours))
        self.assertGreater(values, 15000)


if __name__ == '__main__':
    unittest.main()
