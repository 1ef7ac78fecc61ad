"""Kills conversions at random moments: the file is sound, and converting again ends with the same rows.

Usage: kill_test.py PATH-OF-CORVIX-CLI [--kills N] [--seed S]
"""
import argparse
import os
import random
import shutil
import subprocess
import sys
import time
import unittest

sys.path.append(os.path.join(os.path.dirname(__file__), '..', 'support'))
from office_case import CLI, OfficeCase  # noqa: E402

RECORDS = 20000


class Kill(OfficeCase):
    def rows(self):
        """The rows by key, autonumbers left out: a row that is stored again after a kill may get another one."""
        return {row['CENTRALKEY'].rstrip(): dict(row, RECID=None) for row in self.dump()}

    def convert_again(self):
        self.succeed('convert', *self.directories, '--yes', '--duplicates', 'source')

    def kill_after(self, seconds, policy):
        """Starts a conversion and kills it; whether it was still at work."""
        process = subprocess.Popen([CLI, 'convert', *self.directories, '--yes', '--duplicates', policy],
                                   stdin=subprocess.PIPE, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        with process.stdin:
            process.stdin.write(b'y\n' * 10000)  # fits into the pipe; each question is a checkpoint
            process.stdin.flush()
            time.sleep(seconds)
            process.kill()
        return process.wait() < 0

    def test_a_killed_conversion_can_be_made_again(self):
        self.office(RECORDS, 30)
        fresh = self.path('fresh.mdb')
        shutil.copyfile(self.database, fresh)
        before = self.rows()
        start = time.monotonic()
        self.convert_again()
        duration = time.monotonic() - start
        once = self.rows()
        self.convert_again()
        twice = self.rows()
        self.assertEqual((len(once), len(twice)), (RECORDS, RECORDS))

        moments = random.Random(OPTIONS.seed)
        killed = hot = partial = 0
        for number in range(OPTIONS.kills):
            shutil.copyfile(fresh, self.database)
            seconds = moments.uniform(0.02, 1.1) * duration
            policy = ('source', 'ask')[number % 2]
            with self.subTest(seed=OPTIONS.seed, number=number, seconds=seconds, policy=policy):
                killed += self.kill_after(seconds, policy)
                journal = self.database + '-journal'
                hot += os.path.exists(journal) and os.path.getsize(journal) > 0
                self.succeed('check', self.target)
                stored = self.rows()
                partial += stored != before and stored != once
                self.convert_again()
                self.assertFalse(os.path.exists(journal))
                self.succeed('check', self.target)
                again = self.rows()
                self.assertEqual(set(again), set(once))
                # What stood in the file when the run was killed has now been merged into once more; of the rows
                # that were there before the first run nobody knows how far it came.
                wrong = [row for key, row in again.items()
                         if row != (twice if key in stored else once)[key] and not (key in before and row == once[key])]
                self.assertEqual(wrong[:1], [])
        print(f'seed {OPTIONS.seed}: {OPTIONS.kills} runs, {killed} killed at work, {hot} left a journal in use, '
              f'{partial} had stored a part')
        self.assertGreater(killed, 0)


if __name__ == '__main__':
    parser = argparse.ArgumentParser()
    parser.add_argument('--kills', type=int, default=5)
    parser.add_argument('--seed', type=int, default=random.SystemRandom().randrange(1 << 32))
    OPTIONS, rest = parser.parse_known_args()
    unittest.main(argv=sys.argv[:1] + rest)
