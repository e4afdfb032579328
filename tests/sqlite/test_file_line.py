"""The line for a file by itself: who is called when, and what it keeps."""

from __future__ import annotations

import os
import signal
import threading
import time

import pytest
from anpr_test_modules import line_internals as line

WRITER, READER, COMMITTER = range(3)
CALLED, SILENCE, SIGNAL = range(3)
HOLDER, OTHER = 8, 16
_files = iter(range(1000, 10**6))


@pytest.fixture
def file():
    """A file that no other test uses; afterwards nothing may be left of its line."""
    yield next(_files)
    assert line.counts() == (0, 0)


def in_other_threads(count, role, file):
    """Waiters that stand in the line one behind the other, each of a thread of its own."""
    made = []

    def stand():
        waiter = line.make()
        line.stand(waiter, file, role)
        made.append(waiter)

    for _ in range(count):
        thread = threading.Thread(target=stand)
        # Kept running: a thread's mark may be another's when it has ended.
        done = threading.Event()
        target = thread._target
        thread._target = lambda target=target, done=done: (target(), done.wait())
        thread.daemon = True
        thread.start()
        while len(made) < _ + 1:
            time.sleep(0.001)
        made[-1] = (made[-1], done)
    return made


def test_a_free_file_has_no_line(file):
    assert line.may_write(file, -1)
    line.unlocked(file, HOLDER)
    line.reader_left(file)
    assert line.counts() == (0, 0)


def test_a_holder_has_a_line_until_it_gives_the_lock_back(file):
    line.locked(file, HOLDER)
    assert line.counts() == (1, 0)
    line.unlocked(file, OTHER)
    assert line.counts() == (1, 0)
    line.unlocked(file, HOLDER)


def test_writers_are_called_one_by_one_in_the_order_in_which_they_came(file):
    line.locked(file, HOLDER)
    waiters = in_other_threads(3, WRITER, file)
    assert [line.state(waiter) for waiter, _ in waiters] == [
        (True, True, True),
        (True, False, True),
        (True, False, True),
    ]
    holder = HOLDER
    for position, (waiter, _) in enumerate(waiters):
        assert not any(line.take_call(other) for other, _ in waiters)
        line.unlocked(file, holder)
        assert [line.take_call(other) for other, _ in waiters] == [
            other == position for other in range(3)
        ]
        assert line.state(waiter) == (True, True, False)
        assert line.may_write(file, waiter)
        holder = HOLDER + 8 * (position + 1)
        line.locked(file, holder)
        line.leave(waiter)
    line.unlocked(file, holder)
    for _, done in waiters:
        done.set()


def test_nobody_overtakes_the_first(file):
    line.locked(file, HOLDER)
    (first, one), (second, two) = in_other_threads(2, WRITER, file)
    line.unlocked(file, HOLDER)
    assert not line.may_write(file, -1)
    assert not line.may_write(file, second)
    assert line.may_write(file, first)
    line.leave(first)
    assert line.may_write(file, second)
    line.leave(second)
    one.set()
    two.set()


def test_the_next_one_is_called_when_the_first_gives_up(file):
    line.locked(file, HOLDER)
    (first, one), (second, two) = in_other_threads(2, WRITER, file)
    line.leave(first)
    assert not line.take_call(second)  # the lock is still held
    line.unlocked(file, HOLDER)
    assert line.take_call(second)
    line.leave(second)
    one.set()
    two.set()


def test_the_next_one_is_called_when_the_first_was_called_and_does_not_come(file):
    line.locked(file, HOLDER)
    (first, one), (second, two) = in_other_threads(2, WRITER, file)
    line.unlocked(file, HOLDER)
    line.leave(first)
    assert line.take_call(second)
    line.leave(second)
    one.set()
    two.set()


def test_one_that_gives_up_in_the_middle_leaves_the_others_in_order(file):
    line.locked(file, HOLDER)
    waiters = in_other_threads(3, WRITER, file)
    line.leave(waiters[1][0])
    line.unlocked(file, HOLDER)
    assert [line.take_call(waiter) for waiter, _ in waiters] == [True, False, False]
    line.leave(waiters[0][0])
    assert line.take_call(waiters[2][0])
    line.leave(waiters[2][0])
    for _, done in waiters:
        done.set()


def test_all_readers_are_called_together_and_a_committer_when_a_reader_leaves(file):
    line.locked(file, HOLDER)
    readers = in_other_threads(3, READER, file)
    ((committer, done),) = in_other_threads(1, COMMITTER, file)
    assert line.state(committer) == (True, True, False)
    line.reader_left(file)
    assert line.take_call(committer)
    assert not any(line.take_call(reader) for reader, _ in readers)
    line.unlocked(file, HOLDER)
    assert all(line.take_call(reader) for reader, _ in readers)
    for waiter, event in [*readers, (committer, done)]:
        line.leave(waiter)
        event.set()


def test_a_thread_does_not_wait_behind_itself(file):
    """Out of a signal's handler, in the middle of a wait, the same thread may wait once more."""
    line.locked(file, HOLDER)
    ((other, done),) = in_other_threads(1, WRITER, file)
    outer, inner = line.make(), line.make()
    line.stand(outer, file, WRITER)
    line.stand(inner, file, WRITER)
    line.leave(other)
    line.unlocked(file, HOLDER)
    assert line.take_call(inner)
    assert line.may_write(file, inner)
    line.leave(inner)
    assert line.take_call(outer)
    line.leave(outer)
    done.set()


def test_files_do_not_know_each_other(file):
    other = next(_files)
    line.locked(file, HOLDER)
    line.locked(other, OTHER)
    waiter = line.make()
    line.stand(waiter, file, WRITER)
    line.unlocked(other, OTHER)
    assert not line.take_call(waiter)
    assert line.may_write(other, -1)
    line.unlocked(file, HOLDER)
    line.leave(waiter)


def test_standing_again_keeps_the_place(file):
    line.locked(file, HOLDER)
    ((other, done),) = in_other_threads(1, WRITER, file)
    waiter = line.make()
    line.stand(waiter, file, WRITER)
    line.stand(other, file, WRITER)
    assert line.state(other) == (True, True, True)
    line.leave(other)
    line.leave(waiter)
    line.unlocked(file, HOLDER)
    done.set()


def test_a_child_of_a_fork_starts_without_a_line(file):
    line.locked(file, HOLDER)
    waiter = line.make()
    line.stand(waiter, file, WRITER)
    child = os.fork()
    if child == 0:
        empty = line.counts() == (0, 0) and line.state(waiter) == (False, True, False)
        line.leave(waiter)  # not there: nothing happens
        line.stand(waiter, file, WRITER)
        os._exit(0 if empty and line.counts() == (1, 1) else 1)
    assert os.waitstatus_to_exitcode(os.waitpid(child, 0)[1]) == 0
    assert line.counts() == (1, 1)
    line.leave(waiter)
    line.unlocked(file, HOLDER)


def test_a_call_ends_a_wait_and_one_that_came_before_is_not_lost(file):
    line.locked(file, HOLDER)
    waiter = line.make()
    line.stand(waiter, file, WRITER)
    timer = threading.Timer(0.05, line.unlocked, (file, HOLDER))
    timer.start()
    assert line.wait(waiter, 60_000) == CALLED
    line.locked(file, HOLDER)
    line.unlocked(file, HOLDER)
    assert line.wait(waiter, 60_000) == CALLED
    assert line.wait(waiter, 10) == SILENCE
    line.leave(waiter)
    timer.join()


def test_a_signal_ends_a_wait(file):
    waiter = line.make()
    before = signal.signal(signal.SIGUSR1, lambda number, frame: None)
    timer = threading.Timer(0.05, os.kill, (os.getpid(), signal.SIGUSR1))
    timer.start()
    try:
        assert line.wait(waiter, 60_000) == SIGNAL
    finally:
        timer.join()
        signal.signal(signal.SIGUSR1, before)


def test_many_threads_take_turns(file):
    """Each gets the lock as often as the others, and never two at a time."""
    taken, inside, problems = [], [], []
    rounds = 30

    def work(number):
        waiter = line.make()
        for _ in range(rounds):
            line.stand(waiter, file, WRITER)
            while not line.may_write(file, waiter) or inside:
                line.wait(waiter, 20)
            inside.append(number)
            line.locked(file, 8 * (number + 1))
            line.leave(waiter)
            if inside != [number]:
                problems.append(list(inside))
            taken.append(number)
            inside.clear()
            line.unlocked(file, 8 * (number + 1))

    threads = [threading.Thread(target=work, args=(number,)) for number in range(6)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert not problems
    assert len(taken) == 6 * rounds
