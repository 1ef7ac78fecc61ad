"""Drives the commands of corvix-cli around a conversion: preview, reports, backup and restore, jobs, inspect, check.

Usage: companion_test.py PATH-OF-CORVIX-CLI
"""
import csv
import fcntl
import json
import os
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import unittest
import zlib

sys.path.append(os.path.join(os.path.dirname(__file__), '..', 'support'))
from office_case import CHECKOUT, CLI, SHARED, OfficeCase, lines, read_file, run, small_files, write_file  # noqa: E402

PAIRS = os.path.join(SHARED, 'fixtures', 'pairs')
NO = 'n\n' * 3000


def state(directory):
    """Names, contents and times of a directory and its files."""
    names = sorted(os.listdir(directory))
    return [(name, read_file(os.path.join(directory, name)), os.stat(os.path.join(directory, name)).st_mtime_ns)
            for name in names] + [os.stat(directory).st_mtime_ns]


class Companion(OfficeCase):
    def assert_fails(self, done, *texts):
        self.assertEqual(done.returncode, 1, (done.stdout, done.stderr))
        for text in texts:
            self.assertIn(text, done.stderr)


class Preview(Companion):
    """A preview tells what the conversion then does, and leaves no trace."""

    def compare(self, policy, photos):
        options = self.directories + ['--duplicates', policy] + ([] if photos else ['--no-photos'])
        before = state(self.target)
        preview = run('preview', '--json', '--changes', *options)
        self.assertEqual(state(self.target), before)
        told = {kind: [line for line in lines(preview.stdout) if line['kind'] == kind]
                for kind in ('warning', 'record', 'result')}
        rows_before = self.dump()
        report = os.path.join(tempfile.mkdtemp(dir=self.directory), 'report.jsonl')
        done = run('convert', '--yes', '--json', '--report', report, *options, text_in=NO)
        self.assertEqual(preview.returncode, done.returncode, done.stderr)
        written = lines(read_file(report).decode())
        records = [line for line in written if line['kind'] == 'record']
        asked = [record for record in told['record'] if record['outcome'] == 'would_ask']
        for record in asked:
            record['outcome'] = 'kept'
        self.assertEqual(told['record'], records)
        result, = told['result']
        self.assertEqual(result['would_ask'], len(asked))
        self.assertEqual(bool(asked), policy == 'ask' and 'was found.  Overwrite?' in done.stderr)
        summaries = [result['summary'], json.loads(done.stdout), written[-1]['summary']]
        for summary in summaries:
            del summary['seconds']
        self.assertEqual(summaries, [summaries[0]] * 3)
        self.assertEqual(result['size']['after'], os.stat(self.database).st_size)
        self.compare_rows(rows_before, records, self.dump())
        if policy != 'ask':  # the review takes every answer to be yes
            self.compare_warnings(told['warning'], records, done.returncode)

    def compare_rows(self, before, records, after):
        """The changes of the report turn the rows before into the rows after."""
        rows = {self.key(row): row for row in before if row['CENTRALKEY'] is not None}
        others = [row for row in before if row['CENTRALKEY'] is None]
        comps, = (t for t in lines(run('inspect', self.database, '--json').stdout) if t.get('name') == 'COMPS')
        empty = {c['name']: False if c['type'] == 'yes/no' else None for c in comps['columns']}
        for change in (change for record in records for change in record['changes']):
            key = change['row'].upper()
            self.assertEqual(change['added'], key not in rows)
            row = rows.setdefault(key, dict(empty))
            for field in change['fields']:
                if not change['added']:
                    self.assertEqual(row[field['field']], field['old'])
                row[field['field']] = field['new']
        for row in rows.values():
            row.pop('RECID', None)
        got = {self.key(row): row for row in after if row['CENTRALKEY'] is not None}
        self.assertEqual(len(got) + len(others), len(after))
        for key, row in got.items():
            del row['RECID']
            self.assertEqual(rows[key], row)
        self.assertEqual(set(rows), set(got))

    @staticmethod
    def key(row):
        return row['CENTRALKEY'].rstrip().upper()

    def compare_warnings(self, warnings, records, code):
        """What the review counts is what the run loses, unless the run ends before its end."""
        ending = [w for w in warnings if w['ends_run']]
        if code == 0:
            self.assertEqual([w for w in ending if w['concern'] != 'fill_refused'], [])
            lost = sum(len(record['not_stored']) for record in records)
            self.assertEqual(sum(w['values'] for w in warnings if w['concern'] in
                                 ('never_stored', 'text_cut', 'sentinel_date', 'not_a_date')), lost)

    @unittest.skipUnless(os.path.isdir(PAIRS), 'needs the shared sample files')
    def test_every_pair_and_policy(self):
        for pair in sorted(os.listdir(PAIRS)):
            if not os.path.isdir(os.path.join(PAIRS, pair)):
                continue
            self.source = os.path.join(PAIRS, pair, 'source')
            for policy in 'source', 'target', 'ask':
                for photos in True, False:
                    with self.subTest(pair=pair, policy=policy, photos=photos):
                        shutil.copyfile(os.path.join(PAIRS, pair, 'target', 'FOLVANE.MDB'), self.database)
                        self.compare(policy, photos)

    def test_an_office_of_five_thousand_records(self):
        self.office(5000, 40)
        fresh = read_file(self.database)
        for policy in 'source', 'target', 'ask':
            with self.subTest(policy=policy):
                write_file(self.database, fresh)
                self.compare(policy, True)

    def test_reading_commands_leave_no_trace_and_need_no_permission(self):
        self.office()
        for directory in self.source, self.target:
            for name in os.listdir(directory):
                os.chmod(os.path.join(directory, name), 0o444)
            os.chmod(directory, 0o555)
            self.addCleanup(os.chmod, directory, 0o755)
        before = state(self.source), state(self.target)
        for arguments in (['preview', '--changes', *self.directories], ['inspect', self.source],
                          ['inspect', self.database, '--json'], ['dump', self.database, 'COMPS'],
                          ['dump', self.source, 'CENTRAL'], ['check', '--notes', self.source, self.target]):
            done = run(*arguments)
            refused = arguments[0] == 'preview'  # a conversion could not write here
            self.assertEqual((done.returncode, done.stderr), (int(refused), ''), arguments)
            self.assertEqual(refused, 'THE CONVERSION WOULD FAIL: error 3051' in done.stdout)
            self.assertTrue(done.stdout)
        self.assertEqual((state(self.source), state(self.target)), before)

    def test_missing_files_are_told(self):
        self.office(5)
        os.remove(os.path.join(self.source, 'COMPS.DBF'))
        done = run('preview', *self.directories)
        self.assertEqual(done.returncode, 1)
        self.assertIn('COMPS.DBF was not found.  Please correct and try again.', done.stdout)
        self.assertIn('the sources could not be looked through', done.stdout)

    def test_the_verdict_is_that_of_the_conversion(self):
        self.office(30)
        with open(self.database, 'rb') as reader:
            fcntl.flock(reader, fcntl.LOCK_SH)
            self.assertIn('THE CONVERSION WOULD FAIL: error 3051', run('preview', *self.directories).stdout)
            self.assertEqual(run('preview', '--yes', '--backup', *self.directories).returncode, 1)
        self.assertEqual(run('preview', '--yes', '--backup', *self.directories).returncode, 0)
        for spoil in (lambda: os.remove(self.database), lambda: os.mkdir(self.database), lambda: shutil.copyfile(
                os.path.join(self.source, 'PHOTO.DBF'), self.database)):
            if os.path.isdir(self.database):
                os.rmdir(self.database)
            spoil()
            done = run('convert', '--yes', *self.directories)
            self.assertEqual((done.returncode, run('preview', *self.directories).returncode), (1, 1))
            self.assertIn('nothing was converted', done.stdout)


class Report(Companion):
    def convert(self, name, *options, **more):
        return run('convert', *self.directories, '--yes', '--report', self.path(name), *options, **more)

    def test_the_forms_tell_the_same_and_prove_the_files(self):
        self.office()
        fresh = read_file(self.database)
        totals, changes = [], []
        for name in 'r.txt', 'r.csv', 'r.jsonl':
            write_file(self.database, fresh)
            done = self.convert(name)
            self.assertEqual(done.returncode, 0, done.stderr)
        sums = ['%08X' % zlib.crc32(fresh), '%08X' % zlib.crc32(read_file(self.database))]
        text = read_file(self.path('r.txt')).decode()
        self.assertIn('Corvix ', text)
        self.assertEqual(re.findall(r'(\w{8})  FOLVANE', text), sums)
        totals.append({name: int(re.search(r'%s +(\d+)' % name, text)[1]) for name in ('records', 'added', 'kept')})
        changes.append(len(re.findall(r'^ {9}\w+: .* -> ', text, re.M)))
        with open(self.path('r.csv'), newline='') as file:
            table = list(csv.DictReader(file))
        self.assertEqual([row['note'] for row in table if row['field'] == 'FOLVANE.MDB'], ['CRC-32 ' + s for s in sums])
        totals.append({row['field']: int(row['new']) for row in table
                       if row['kind'] == 'total' and row['field'] in totals[0]})
        changes.append(sum(row['kind'] == 'change' for row in table))
        objects = lines(read_file(self.path('r.jsonl')).decode())
        self.assertEqual([o['crc32'] for o in objects if o.get('path') == self.database], sums)
        totals.append({name: objects[-1]['summary'][name] for name in totals[0]})
        changes.append(sum(len(change['fields']) for o in objects if o['kind'] == 'record' for change in o['changes']))
        self.assertEqual(totals, [totals[0]] * 3)
        self.assertGreater(changes[0], 1000)
        self.assertEqual(changes, [changes[0]] * 3)

    def test_a_run_that_is_stopped_leaves_a_complete_report(self):
        self.office(40000, 0)
        process = subprocess.Popen([CLI, 'convert', *self.directories, '--yes', '--json', '--report',
                                    self.path('r.jsonl')], stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
        while not os.path.exists(self.path('r.jsonl')) or os.path.getsize(self.path('r.jsonl')) < 100000:
            time.sleep(0.02)
        process.send_signal(signal.SIGTERM)
        out, _ = process.communicate(timeout=120)
        self.assertEqual(process.returncode, 3)
        report = lines(read_file(self.path('r.jsonl')).decode())
        self.assertEqual(report[-1]['result'], 'stopped')
        count = sum(line['kind'] == 'record' for line in report)
        self.assertEqual(count, json.loads(out)['records'])
        self.assertLess(count, 40000)
        self.assertEqual(len(self.dump()), count)

    def test_what_cannot_be_written_is_told_before_or_after(self):
        self.office(5)
        before = state(self.target)
        self.assert_fails(self.convert('none/r.txt'), 'error 76', 'none/r.txt')
        write_file(self.path('r.txt'), b'mine')
        self.assert_fails(self.convert('r.txt'), 'error 52', 'already')
        self.assertEqual(read_file(self.path('r.txt')), b'mine')
        self.assertEqual(self.convert('FOLVANE.MDB').returncode, 2)
        self.assertEqual(state(self.target), before)

    def test_a_report_on_a_full_disk_does_not_stop_the_conversion(self):
        self.office(600, 0)
        limit = 600000  # less than the report, more than the database needs
        done = self.convert('r.txt', '--json', **small_files(limit))
        self.assert_fails(done, 'The report is not complete')
        self.assertEqual(json.loads(done.stdout)['added'], 600)
        self.assertEqual(len(self.dump()), 600)

    def test_totals_and_reports_are_what_a_reopened_database_holds(self):
        self.office(600, 0)
        limit = small_files(400000)  # less than the database needs
        done = run('convert', *self.directories, '--yes', '--json', text_in='a\na\n', **limit)
        summary = json.loads(done.stdout)
        self.assertEqual((done.returncode, summary['added']), (1, len(self.dump())))
        self.assertGreater(summary['taken_back'], 0)
        self.succeed('convert', *self.directories, '--yes')
        done = self.convert('r.csv', '--json', text_in='a\na\n', **limit)
        summary = json.loads(done.stdout)
        with open(self.path('r.csv'), newline='') as file:
            kinds = [row['kind'] for row in csv.DictReader(file)]
        self.assertEqual((done.returncode, kinds.count('taken back')), (1, summary['taken_back']))
        self.assertGreater(summary['taken_back'], 0)


class Backup(Companion):
    def convert(self, *options, **more):
        return run('convert', *self.directories, '--backup', *options, **more)

    def copies(self):
        return sorted(name for name in os.listdir(self.target) if name != 'FOLVANE.MDB')

    def test_there_and_back(self):
        self.office()
        old = read_file(self.database)
        self.succeed('convert', *self.directories, '--backup', '--yes')
        copy, = self.copies()
        self.assertRegex(copy, r'^FOLVANE-\d{8}-\d{6}\.MDB$')
        self.assertEqual(read_file(os.path.join(self.target, copy)), old)
        new = read_file(self.database)
        self.assertNotEqual(new, old)
        told = self.succeed('restore', os.path.join(self.target, copy), '--target', self.target)
        self.assertEqual(read_file(self.database), old)
        replaced, = set(self.copies()) - {copy}
        self.assertEqual(read_file(os.path.join(self.target, replaced)), new)
        self.assertIn(replaced, told)
        os.remove(self.database)
        self.succeed('restore', os.path.join(self.target, replaced), '--target', self.target)
        self.assertEqual(read_file(self.database), new)

    def test_copies_keep_rights_and_times_and_follow_no_link(self):
        self.office(20)
        os.chmod(self.database, 0o660)
        if os.getuid() == 0:
            os.chown(self.database, 1, 2)
        os.utime(self.database, ns=(10**18, 10**18))
        facts = lambda path: [getattr(os.stat(path), 'st_' + name) for name in ('mode', 'uid', 'gid', 'mtime_ns')]
        before = facts(self.database)
        self.succeed('convert', *self.directories, '--backup', '--yes')
        copy = os.path.join(self.target, self.copies()[0])
        self.assertEqual((facts(copy), facts(self.database)[:3]), (before, before[:3]))
        report = self.path('report.csv')
        self.succeed('convert', *self.directories, '--duplicates', 'target', '--yes', '--report', report)
        self.assertEqual(facts(report)[:3], before[:3])
        os.chmod(copy, 0o600)
        write_file(self.path('victim'), b'mine')
        os.symlink(self.path('victim'), self.database + '.part')
        self.assert_fails(run('restore', copy, '--target', self.target), 'error 58', 'FOLVANE.MDB.part')
        os.remove(self.database + '.part')
        self.succeed('restore', copy, '--target', self.target)
        self.assertEqual((facts(self.database), read_file(self.path('victim'))), (before, b'mine'))

    def test_no_backup_without_a_yes(self):
        self.office(5)
        self.assertEqual(self.convert(text_in='n\n').returncode, 3)
        self.assertEqual(self.copies(), [])

    def test_a_failing_copy_ends_before_anything_is_changed(self):
        self.office()
        before = read_file(self.database)
        limit = small_files(len(before) - 4096)
        done = self.convert('--yes', **limit)
        self.assert_fails(done, 'Error # 61 in module BackUp')
        self.assertEqual((read_file(self.database), self.copies()), (before, []))
        shutil.copyfile(self.database, self.path('copy.mdb'))
        done = run('restore', self.path('copy.mdb'), '--target', self.target, **limit)
        self.assert_fails(done, 'error 61')
        self.assertEqual((read_file(self.database), self.copies()), (before, []))

    def test_restore_refuses(self):
        self.office(20)
        before = state(self.target)
        copy = self.path('copy.mdb')
        shutil.copyfile(self.database, copy)
        for damage, number in (b'', 3343), (b'no database' * 1000, 3343), (read_file(copy)[:12 * 4096], 3049):
            write_file(self.path('bad.mdb'), damage)
            self.assert_fails(run('restore', self.path('bad.mdb'), '--target', self.target), 'error %d' % number)
        self.assert_fails(run('restore', self.path('none'), '--target', self.target), 'error 53')
        self.assert_fails(run('restore', copy, '--target', self.path('none')), 'error 76')
        self.assert_fails(run('restore', self.database, '--target', self.target), 'one file')
        with open(copy, 'rb') as file:
            fcntl.flock(file, fcntl.LOCK_EX)
            self.assert_fails(run('restore', copy, '--target', self.target), 'error 3051')
        self.assertEqual(state(self.target)[:-1], before[:-1])


class Jobs(Companion):
    def test_one_damaged_office_does_not_keep_the_others(self):
        self.office(50)
        for name in 'a', 'b b', 'c':
            shutil.copytree(self.target, self.path(name))
        os.truncate(self.path('b b/FOLVANE.MDB'), 5 * 4096)
        write_file(self.path('jobs'), b'# offices\n\nold a --duplicates target\n"old" "b b"  # damaged\n'
                                      b'old c --report own.csv --backup\n')
        done = run('convert', '--jobs', self.path('jobs'), '--yes', '--reports', self.path('reports'), '--json')
        self.assertEqual(done.returncode, 1)
        results = lines(done.stdout)
        self.assertEqual([(r['line'], r['result'], r['summary']['records']) for r in results],
                         [(3, 'done', 50), (4, 'failed', 0), (5, 'done', 50)])
        self.assertEqual(results[1]['summary']['error']['number'], 3049)
        self.assertEqual((results[0]['summary']['overwritten'] == 0, results[2]['summary']['overwritten'] > 0), (True, True))
        self.assertEqual(sorted(os.listdir(self.path('reports'))), ['office-003.txt', 'office-004.txt'])
        self.assertTrue(os.path.exists(self.path('own.csv')))
        self.assertEqual(len(os.listdir(self.path('c'))), 2)
        again = run('convert', '--jobs', self.path('jobs'), '--yes')
        self.assertIn('line 4 failed: Error # 3049', again.stdout)
        self.assertIn('1 of 3 offices done, 2 failed', again.stdout)

    def test_a_batch_can_be_previewed_checked_and_run_again(self):
        self.office(10)
        write_file(self.path('jobs'), b'old new --report own.txt\nold new\n')
        jobs = ['--jobs', self.path('jobs')]
        before = state(self.target)
        told = lines(self.succeed('preview', '--json', *jobs))
        self.assertEqual([t['line'] for t in told if t['kind'] == 'office'], [1, 2])
        self.assertIn('2 of 2 offices done', self.succeed('preview', *jobs))
        self.assertEqual(self.succeed('check', *jobs).count('FOLVANE.MDB'), 1)
        self.assertEqual(state(self.target), before)
        for code, names in (0, ['002']), (1, ['002', '002-2']), (1, ['002', '002-2', '002-3']):
            self.assertEqual(run('convert', '--yes', '--reports', self.path('r'), *jobs).returncode, code)
            self.assertEqual(set(os.listdir(self.path('r'))), {'office-%s.txt' % name for name in names})
        write_file(self.path('r/office-002.txt'), b'old')
        run('convert', '--yes', '--reports', self.path('r'), '--replace', *jobs)
        self.assertEqual(len(os.listdir(self.path('r'))), 3)
        self.assertNotEqual(read_file(self.path('r/office-002.txt')), b'old')

    def test_a_stop_ends_the_batch_and_answers_go_on_from_office_to_office(self):
        self.office(30, 100)
        shutil.copytree(self.target, self.path('a'))
        write_file(self.path('jobs'), b'old a --duplicates ask\nold new --duplicates ask\nold new\n')
        done = run('convert', '--jobs', self.path('jobs'), '--yes', '--json', text_in='a\ny\ny\nn\ns\n')
        self.assertEqual(done.returncode, 3, done.stderr)
        self.assertEqual([r['summary']['overwritten'] for r in lines(done.stdout)][1:], [1])

    def test_a_mistake_is_told_with_its_line_and_nothing_is_touched(self):
        self.office(5)
        before = state(self.target)
        write_file(self.path('jobs'), b'old new\nold new --fast\n')
        self.assert_fails(run('convert', '--jobs', self.path('jobs'), '--yes'), '--fast', 'jobs, line 2')
        self.assert_fails(run('convert', '--jobs', self.path('none')), 'error 53')
        self.assertEqual(state(self.target), before)


class Looking(Companion):
    def test_inspect_tells_what_the_files_hold(self):
        self.office(50)
        tables = {t['name']: t for t in lines(run('inspect', self.source, '--json').stdout)}
        self.assertEqual(tables['CENTRAL']['records'], 50)
        self.assertEqual([(f['name'], f['type'], f['length'], f['decimals']) for f in tables['CENTRAL']['fields']
                          if f['name'] in ('CENTRALKEY', 'LOTSIZE')],
                         [('CENTRALKEY', 'character', 35, 0), ('LOTSIZE', 'numeric', 10, 2)])
        self.assertEqual([(i['name'], i['expression'], i['descending']) for i in tables['COMPS']['indexes']],
                         [('CENTRALKEY', 'CENTRALKEY', False), ('PRICE', 'SELLINGPR', True)])
        comps, = lines(run('inspect', self.database, '--json').stdout)
        rows = self.dump()
        self.assertEqual((comps['name'], comps['records']), ('COMPS', len(rows)))
        self.assertEqual([c['name'] for c in comps['columns']], list(rows[0]))
        self.assertEqual([c['type'] for c in comps['columns'][:2]], ['long integer', 'text'])
        unique = {i['name'] for i in comps['indexes'] if i['unique']}
        self.assertEqual(unique, {'PrimaryKey', 'CENTRALKEY'})
        text = run('inspect', self.target).stdout
        self.assertIn('table COMPS: %d rows' % len(rows), text)
        self.assertRegex(text, r'PrimaryKey +RECID; primary key; unique')

    def test_check_names_the_file_to_copy(self):
        self.office(10)
        self.assertEqual(run('check', self.source, self.database).returncode, 0)
        for name, words in ('COMPS.FPT', 'keeps its memos in COMPS.FPT, which is missing; copy'), \
                ('CENTRAL.CDX', 'CENTRAL.CDX is missing; copy'), ('PHOTO.DBF', 'the table is missing'):
            os.rename(os.path.join(self.source, name), self.path(name))
            done = run('check', self.source)
            self.assertEqual(done.returncode, 1)
            self.assertIn(words, done.stdout)
            problems = [f for f in lines(run('check', self.source, '--json').stdout) if f['kind'] == 'problem']
            self.assertIn(words, problems[0]['text'])
            os.rename(self.path(name), os.path.join(self.source, name))
        with open(self.database, 'r+b') as file:
            file.seek(9 * 4096)
            file.write(b'\x55' * 4096)
        found = lines(run('check', self.database, '--json').stdout)
        self.assertEqual([f['kind'] for f in found][-1], 'checked')
        self.assertEqual(found[-1]['problems'], len(found) - 1)
        self.assertGreater(len(found), 1)
        os.mkdir(os.path.join(self.target, 'A.MDB'))
        done = run('check', self.target)
        self.assert_fails(done, 'A.MDB')
        self.assertIn('FOLVANE.MDB: ', done.stdout)

    def test_output_into_head_ends_quietly(self):
        self.office(2000)
        for command in (f'dump {self.database} COMPS', f'preview --source {self.source} --target {self.target}',
                        f'inspect {self.source}', f'check --notes {self.source}'):
            done = subprocess.run(['bash', '-c', f'{CLI} {command} | head -1; exit ${{PIPESTATUS[0]}}'],
                                  capture_output=True, text=True, timeout=120)
            self.assertEqual((done.stdout.count('\n'), done.stderr), (1, ''), command)
            self.assertIn(done.returncode, (0, 128 + signal.SIGPIPE), command)
        convert = subprocess.run(['bash', '-c', f'{CLI} convert {" ".join(self.directories)} --yes 2>&1 | true; '
                                  'exit ${PIPESTATUS[0]}'], timeout=120)
        self.assertEqual(convert.returncode, 0)
        self.assertEqual(len(self.dump()), 2000)
        with open('/dev/full', 'w') as full:
            self.assert_fails(subprocess.run([CLI, 'dump', self.database, 'COMPS'], stdout=full,
                                             stderr=subprocess.PIPE, text=True), 'could not be written')

    def test_wrong_arguments_and_paths(self):
        self.office(5)
        for arguments in ([], ['nothing'], ['preview'], ['preview', '--source', '.'],
                          ['restore', 'x'], ['inspect'], ['check'], ['inspect', '--xml', '.'],
                          ['check', '--jobs', 'x', '.'], ['preview', '--jobs', 'x', '--source', '.'],
                          *(['convert', *self.directories, option, 'x']
                            for option in ('--duplicates', '--reports', '--jobs', '--report', '--replace'))):
            done = run(*arguments)
            self.assertEqual((done.returncode, done.stdout), (2, ''), arguments)
        for command in 'convert', 'preview', 'restore', 'inspect', 'dump', 'check', 'sample':
            self.assertIn('Example', self.succeed(command, '--help'))
        self.assertIn('inspect', self.succeed('--help'))
        self.assertIn('7.1.14', self.succeed('--version'))
        for arguments in (['inspect', self.path('none')], ['inspect', self.directory], ['check', self.path('none')],
                          ['check', self.directory], ['dump', self.database], ['dump', self.database, 'NONE'], ['dump', self.source]):
            self.assert_fails(run(*arguments), 'error ')
        self.assert_fails(run('sample', self.source), 'holds an office already')

    def test_manual_and_completion_know_every_option(self):
        manual = read_file(os.path.join(CHECKOUT, 'packaging', 'man', 'corvix-cli.1')).decode().replace('\\-', '-')
        script = os.path.join(CHECKOUT, 'packaging', 'completion', 'corvix-cli')
        for command in 'convert', 'preview', 'restore', 'inspect', 'dump', 'check', 'sample':
            options = set(re.findall(r'^ +(?:-h,)?(--[a-z-]+)', run(command, '--help').stdout, re.M))
            section = manual.split('.SS ' + command + '\n')[1].split('\n.S')[0]
            for option in options - {'--help'}:
                self.assertRegex(section, re.escape(option) + r'\b', command)
            offered = subprocess.run(['bash', '-c', f'source {script}; COMP_WORDS=(corvix-cli {command} --); COMP_CWORD=2; '
                                      '_corvix_cli; echo "${COMPREPLY[@]}"'], capture_output=True, text=True).stdout
            self.assertEqual(set(offered.split()), options, command)


if __name__ == '__main__':
    unittest.main()
