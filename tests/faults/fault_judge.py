"""Judges a case: each run must end within its flush and either upload a
profile the service can read or lose its upload with exactly one log line;
the runs after the fault must upload; the host must exit 0, and soon."""
import fnmatch
import signal
from dataclasses import dataclass, field

from profile_check import request_problems

APP = "fault-host"

TRANSPORT_ERROR = "variables POST ERROR: "

UPLOADED = "uploaded"
LOST = "lost with a log line"
ELSE = "anything else"


@dataclass
class Verdict:
    kind: str
    reasons: list = field(default_factory=list)
    known: bool = False


def _run_reasons(case, run, after_fault):
    label = f"run {run.number}"
    reasons = []
    if len(run.requests) > 1:
        reasons.append(f"{label} uploaded {len(run.requests)} times")
    if run.flush != "ok" and not (case.leave_after_first and run.number == 1):
        reasons.append(f"{label}: flush {run.flush} after {run.ms} ms")
    if run.requests:
        problems = request_problems(run.requests[0], run.session, APP)
        if problems:
            reasons.append(f"{label}: unreadable profile: " + "; ".join(problems[:4]))
        # A transfer that fails after the service has read the body is logged
        # as failed: the library cannot know it arrived.
        if len(run.logs) > 1 or (run.logs and not run.logs[0].startswith(TRANSPORT_ERROR)):
            reasons.append(f"{label} uploaded, yet logged: {' | '.join(run.logs[:3])}")
    elif after_fault:
        reasons.append(f"{label}, after the fault, lost: " + (run.logs[0] if run.logs
                                                             else "no log line"))
    elif run.flush == "ok" and len(run.logs) != 1:
        reasons.append(f"{label} lost with {len(run.logs)} log lines" +
                       (f": {' | '.join(run.logs[:3])}" if run.logs else ""))
    return reasons


def judge(case, outcome):
    reasons = []
    if outcome.hung:
        reasons.append(outcome.hung)
    elif outcome.exit_status != 0:
        status = outcome.exit_status
        reasons.append(f"killed by {signal.Signals(-status).name}" if status < 0
                       else f"exit status {status}")
    elif outcome.exit_seconds > case.exit_bound:
        reasons.append(f"exit() took {outcome.exit_seconds:.1f} s")
    expected_runs = 1 if case.leave_after_first else 1 + case.later_runs
    if not outcome.hung and outcome.exit_status == 0 and len(outcome.runs) != expected_runs:
        reasons.append(f"the host reported {len(outcome.runs)} of {expected_runs} runs")
    for run in outcome.runs:
        reasons += _run_reasons(case, run, after_fault=run.number > 1)
    if case.max_refusals and outcome.fired > case.max_refusals:
        reasons.append(f"run 1 had {outcome.fired} calls refused with {case.refusal} "
                       f"(took {outcome.runs[0].ms if outcome.runs else '?'} ms traced)")
    if outcome.lookups:
        reasons.append(f"looked the host up: {outcome.lookups[0]}")
    if reasons:
        return Verdict(ELSE, reasons)
    first = outcome.runs[0] if outcome.runs else None
    return Verdict(UPLOADED if first and first.requests else LOST)


def read_known(path):
    """The known faults: (case pattern, reason pattern, what it is) per line."""
    known = []
    with open(path) as lines:
        for line in lines:
            line = line.strip()
            if line and not line.startswith("#"):
                case_pattern, reason_pattern, why = (part.strip() for part in line.split(" | "))
                known.append((case_pattern, reason_pattern, why))
    return known


def mark_known(name, verdict, known):
    """Marks the verdict known when a known fault explains each of its reasons;
    returns the known entries that matched the case."""
    matching = [entry for entry in known if fnmatch.fnmatchcase(name, entry[0])]
    if verdict.kind == ELSE and matching:
        verdict.known = all(any(fnmatch.fnmatchcase(reason, entry[1]) for entry in matching)
                            for reason in verdict.reasons)
    return matching
