"""Explains each text between two killed hosts: arrived, lost or delivered twice, and the cause.

Accepts a cause only if the recorded times agree with it. A loss or repetition without a cause is a fault of the
library.
"""
import collections

SECONDS_MAX = 8  # from acceptance on a working link to arrival and acknowledgement
NOTICED_SECONDS_MAX = 1  # time after a break in which a host may still pass texts to the broken link
BATCH = 20

SENDER_KILLED = "lost: the sending process was killed before the acknowledgement"
RECEIVER_KILLED = "lost: the receiving process was killed after the acknowledgement, before its host took it"
SENDER_EMPTIED = "lost: a reconnection emptied the sender's queues"
RECEIVER_EMPTIED = "lost: a reconnection emptied the receiver's queues before its host took it"
OLD_ACKNOWLEDGEMENT = "lost: the first message on the new connection repeated an old acknowledgement"
ACKNOWLEDGEMENT_LOST = "delivered twice: the receiving process was killed before the sender had the acknowledgement"


class Account:
    """Accounts for the texts of one direction."""

    def __init__(self, sender, receiver):
        self.sender, self.receiver = sender, receiver
        self.counts, self.unexplained = collections.Counter(), []
        self.breaks = sorted(moment for host in (sender, receiver) for run in host.runs
                             for moment in [run.killed, *run.emptied])
        self.sent = dict(sender.sent)
        self.taken = collections.defaultdict(list)
        for when, run, text in receiver.taken:
            self.taken[text].append((when, run))
            self.note_unanswered(text)
        self.newest = {}  # run of the receiver -> newest text that it took
        for _, run, text in receiver.taken:
            self.check_order(run, text)
        for text in sorted(self.sent):
            self.explain(text)

    def note_unanswered(self, text):
        """A text can arrive although its process was killed before it answered the request."""
        run, number = text
        if text in self.sent:
            return
        if run <= len(self.sender.runs) and number <= self.sender.runs[run - 1].offered:
            self.sent[text] = self.sender.runs[run - 1].killed
        else:
            self.unexplained.append(f"{text} was never sent")

    def check_order(self, run, text):
        if text <= self.newest.get(run, (0, 0)):
            self.unexplained.append(f"{text} arrived after {self.newest[run]} in run {run} of the receiver")
        self.newest[run] = max(text, self.newest.get(run, (0, 0)))

    def explain(self, text):
        taken = self.taken[text]
        self.counts["sent"] += 1
        self.counts["arrived"] += bool(taken)
        causes = [self.cause_of_loss(text)] if not taken else [
            self.cause_of_repetition(text, *pair) for pair in zip(taken, taken[1:])]
        for cause in causes:
            self.counts[cause] += 1
            if cause is None:
                self.unexplained.append(f"{self.sender.side}.{text[0]}.{text[1]}, accepted at {self.sent[text]:.2f}, "
                                        f"taken {taken}; {self.sender.runs[text[0] - 1]}")

    def cause_of_repetition(self, text, first, second):
        """The sender repeats the latest batch of one run of the receiver to its next run."""
        run = self.receiver.runs[first[1] - 1]
        last = [other for _, own_run, other in self.receiver.taken if own_run == first[1]][-BATCH:]
        if second[1] > first[1] and text in last and run.killed - first[0] < SECONDS_MAX:
            return ACKNOWLEDGEMENT_LOST
        return None

    def cause_of_loss(self, text):
        moment = self.sent[text]
        run = self.sender.runs[text[0] - 1]
        later = [other for other in self.taken if other[0] == text[0] and other > text and self.taken[other]]
        if run.killed < float("inf") and not later and self.soon(moment, run.killed):
            return SENDER_KILLED
        for emptied in run.emptied:
            before = [other for other in later if self.sent[other] < emptied - NOTICED_SECONDS_MAX]
            if moment < emptied and not before and self.soon(moment, emptied):
                return SENDER_EMPTIED
        for number, other in enumerate(self.receiver.runs, 1):
            newer = [when for when, own_run, one in self.receiver.taken if own_run == number and one > text]
            if moment < other.killed < float("inf") and not newer and self.soon(moment, other.killed):
                return RECEIVER_KILLED
            for emptied in other.emptied:
                if moment < emptied and not any(when < emptied for when in newer) and self.soon(moment, emptied):
                    return RECEIVER_EMPTIED
        if self.is_in_first_batch(text):
            return OLD_ACKNOWLEDGEMENT
        return None

    def soon(self, moment, end):
        """True if a text of that moment may not have arrived by `end`, given a working link's delay and the breaks."""
        return end - moment < SECONDS_MAX or any(
            moment - NOTICED_SECONDS_MAX < broken < min(end, moment + SECONDS_MAX) for broken in self.breaks)

    def is_in_first_batch(self, text):
        """True for the first batch of a process whose older peer had a message to repeat, if none of it arrived."""
        run = self.sender.runs[text[0] - 1]
        return text[1] <= BATCH and not any(self.taken.get((text[0], number)) for number in range(1, text[1])) and any(
            other.began < run.began < other.killed for other in self.receiver.runs)
