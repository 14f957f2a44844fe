#!/usr/bin/env python3
"""The fault campaign: system-call faults injected with strace into a C host's
use of the library, one case at a time, and a table of what became of the
uploads, by call family. Exits 1 when a case ends in anything but an uploaded
profile or a lost upload with its one log line (with --allow-known, only when
such a case is not a known fault), 77 when strace is missing or this system
does not let it attach (the campaign is skipped).

  fault_campaign.py --host HOST --receiver RECEIVER [--group GROUP] [--cases GLOB]
                    [--allow-known] [--verbose] [--list]
"""
import argparse
import fnmatch
import os
import shutil
import sys
import tempfile
import time

import fault_cases
from fault_judge import ELSE, LOST, UPLOADED, judge, mark_known, read_known
from fault_runner import CaseRunner, PtraceRefused, Receiver, block_driver_signals

HERE = os.path.dirname(os.path.abspath(__file__))
SKIPPED = 77

# The short campaign `make test` runs, in groups that CTest runs side by side:
# a few faults of each family, and one case of each known fault.
GROUPS = {
    "files": ["openat/EACCES/first", "openat/EMFILE/middle@collection", "openat/ENOENT/every",
              "read/EIO/middle@collection", "read/short/first", "read/EINTR/middle@collection",
              "getdents64/EIO/first", "newfstatat/EACCES/from-middle@collection",
              "statfs/EIO/first", "readlink/ENOENT/every"],
    "network": ["socket/EMFILE/first", "socket/ENFILE/call-3@collection", "bind/EACCES/first",
                "connect/ECONNREFUSED/first", "connect/EINTR/first",
                "setsockopt/ENOMEM/every", "getsockname/ENOBUFS/first",
                "sendto/EPIPE/middle@transfer", "sendto/short/first",
                "sendto/ENOBUFS/first", "recvfrom/ECONNRESET/middle@transfer",
                "recvfrom/short/from-middle@transfer", "recvfrom/EINTR/first",
                "recvfrom/ENOBUFS/route-dump", "poll/EINTR/first"],
    "threads-memory": ["mmap/ENOMEM/middle@collection", "mmap/EAGAIN/call-2@transfer",
                       "mprotect/ENOMEM/middle@collection", "clone3/ENOSYS/every",
                       "clone3/EAGAIN/first", "clone/EAGAIN/call-2@collection",
                       "getrandom/ENOSYS/every", "getrandom/EINTR/first"],
    "preferences": ["write/EIO/first", "write/short/first", "fsync/EIO/first",
                    "fsync/EROFS/call-2@collection", "linkat/EPERM/first",
                    "rename/EACCES/first", "mkdir/EROFS/first", "mkdir/EACCES/every",
                    "flock/EINTR/first", "openat/EOPNOTSUPP/tmpfile", "openat/EROFS/tmpfile"],
    "delays": ["delay/connect/first", "delay/recvfrom/middle@transfer",
               "delay/openat/middle@collection", "delay/flock/first"],
    "limits": ["nofile/16/free-1", "nofile/16/free-8", "nofile/64/free-2", "as/96MiB",
               "as/256MiB", "lookup/default-host", "recvfrom/ENOBUFS/every",
               "stall/sendto/request"],
}


def select(cases, group, pattern):
    if group != "all":
        wanted = GROUPS[group]
        cases = [case for case in cases if case.name in wanted]
        missing = set(wanted) - {case.name for case in cases}
        if missing:
            print(f"not made on this machine: {', '.join(sorted(missing))}")
    return [case for case in cases if fnmatch.fnmatchcase(case.name, pattern)]


def print_details(outcome):
    for run in outcome.runs:
        print(f"    run {run.number}: collect {run.collect}, flush {run.flush} in {run.ms} ms, "
              f"{len(run.requests)} uploads, logs: {run.logs}")
    print(f"    exit status {outcome.exit_status} after {outcome.exit_seconds:.2f} s, "
          f"{outcome.fired} calls injected{', ' + outcome.hung if outcome.hung else ''}")
    if outcome.stderr.strip():
        print("    stderr: " + outcome.stderr.strip().replace("\n", "\n    "))


def print_table(results):
    rows = {}
    for case, outcome, verdict in results:
        row = rows.setdefault(case.family, {"cases": 0, "fired": 0, UPLOADED: 0, LOST: 0,
                                            ELSE: 0, "known": 0})
        row["cases"] += 1
        row["fired"] += outcome.fired > 0
        row[verdict.kind] += 1
        row["known"] += verdict.known
    columns = ["cases", "fired", UPLOADED, LOST, ELSE, "known"]
    width = max(len("call family"), *(len(family) for family in rows))
    header = f"{'call family':<{width}}" + "".join(f" | {column:>{len(column)}}"
                                                   for column in columns)
    print(header)
    print("-" * len(header))
    totals = dict.fromkeys(columns, 0)
    for family, row in rows.items():
        print(f"{family:<{width}}" + "".join(f" | {row[column]:>{len(column)}}"
                                             for column in columns))
        for column in columns:
            totals[column] += row[column]
    print("-" * len(header))
    print(f"{'all':<{width}}" + "".join(f" | {totals[column]:>{len(column)}}"
                                        for column in columns))


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("--host", required=True)
    parser.add_argument("--receiver", required=True)
    parser.add_argument("--group", default="all", choices=["all", *GROUPS])
    parser.add_argument("--cases", default="*", help="only the cases whose name matches")
    parser.add_argument("--flush-ms", type=int, default=20000)
    parser.add_argument("--known", default=os.path.join(HERE, "known_faults.txt"))
    parser.add_argument("--allow-known", action="store_true",
                        help="exit 0 when every case in anything else is a known fault")
    parser.add_argument("--list", action="store_true", help="list the cases, run none")
    parser.add_argument("--verbose", action="store_true", help="show each run of each case")
    options = parser.parse_args()

    if shutil.which("strace") is None:
        print("strace is not installed: skipping the fault campaign")
        return SKIPPED
    block_driver_signals()
    scratch = tempfile.mkdtemp(prefix="rqbehavior-faults.")
    receiver = Receiver(options.receiver, scratch)
    try:
        runner = CaseRunner(options.host, receiver, scratch, options.flush_ms)
        started = time.monotonic()
        control = fault_cases.control_case()
        try:
            control_outcome = runner.run(control)
        except PtraceRefused as refusal:
            print(f"ptrace is not permitted here ({refusal}): skipping the fault campaign")
            return SKIPPED
        survey = fault_cases.read_survey(control_outcome.trace, control_outcome.host_pid)
        cases = select(fault_cases.all_cases(survey), options.group, options.cases)
        if options.list:
            for case in cases:
                print(case.name, " ".join(case.injections), " ".join(case.host_args))
            print(f"{len(cases)} cases")
            return 0

        known = read_known(options.known)
        results = [(control, control_outcome, judge(control, control_outcome))]
        for number, case in enumerate(cases, 1):
            case_started = time.monotonic()
            outcome = runner.run(case)
            verdict = judge(case, outcome)
            mark_known(case.name, verdict, known)
            results.append((case, outcome, verdict))
            print(f"[{number}/{len(cases)}] {case.name}: {verdict.kind}"
                  f"{' (known)' if verdict.known else ''}"
                  f"{'' if outcome.fired or not case.injections else ', fault not fired'}"
                  f" in {time.monotonic() - case_started:.1f} s", flush=True)
            if options.verbose:
                print_details(outcome)
        elapsed = time.monotonic() - started
    finally:
        receiver.close()
        shutil.rmtree(scratch, ignore_errors=True)

    print()
    print_table(results)
    failures = [(case, outcome, verdict) for case, outcome, verdict in results
                if verdict.kind == ELSE]
    for case, outcome, verdict in failures:
        print(f"{'known' if verdict.known else 'FAULT'} {case.name}: {'; '.join(verdict.reasons)}")
        for line in outcome.trace_lines[:1]:
            print(f"      {line}")
    explained = {entry for case, _, verdict in results if verdict.known
                 for entry in mark_known(case.name, verdict, known)}
    whole_campaign = options.group == "all" and options.cases == "*"
    for entry in known if whole_campaign else []:
        ran = [case for case, _, _ in results if fnmatch.fnmatchcase(case.name, entry[0])]
        if ran and entry not in explained:
            print(f"known fault no longer seen in {len(ran)} cases, to be struck from the list: "
                  f"{entry[0]} ({entry[2]})")
    unexplained = sum(not verdict.known for _, _, verdict in failures)
    print(f"{len(results)} cases in {elapsed:.0f} s: {len(failures)} in anything else, "
          f"{len(failures) - unexplained} of them known faults")
    return 1 if unexplained or (failures and not options.allow_known) else 0


if __name__ == "__main__":
    sys.exit(main())
