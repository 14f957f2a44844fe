"""The cases of the fault campaign. Where a fault goes is read from a survey:
one run of the host traced without faults, which tells how many calls of each
kind each of the library's threads makes. strace's when= counts the calls of
each thread apart, so "middle@collection" is the middle call of the
collection thread, and the same number hits any other thread that gets that
far."""
import re
from dataclasses import dataclass, field

from fault_runner import Case

# Each row: the system call, and the errors it is made to answer. "short" is a
# call that succeeds with less than asked: a read or receive that ends at
# once, a write, send or getrandom that takes one byte (the kernel runs no
# part of an injected call, so that byte is not written either).
CALL_FAULTS = [
    ("openat", "ENOENT EACCES EPERM EMFILE ENFILE ENOMEM EINTR EIO ELOOP ENOTDIR"),
    ("read", "EINTR EAGAIN EIO ENOMEM short"),
    ("getdents64", "EIO ENOMEM EACCES ENOENT EINTR"),
    ("newfstatat", "ENOENT EACCES EIO ENOMEM EPERM ELOOP ENOTDIR"),
    ("statfs", "EIO EACCES ENOSYS ENOMEM EINTR"),
    ("readlink", "ENOENT EACCES EIO ENOMEM"),
    ("socket", "EMFILE ENFILE ENOBUFS ENOMEM EACCES EPERM EAFNOSUPPORT EPROTONOSUPPORT"),
    ("bind", "EACCES EPERM ENOBUFS ENOMEM"),
    ("connect", "ECONNREFUSED ECONNRESET EINTR EAGAIN EACCES ENOBUFS EPERM ENOENT ETIMEDOUT "
                "ENETUNREACH EHOSTUNREACH"),
    ("setsockopt", "ENOBUFS ENOMEM EPERM"),
    ("getsockname", "ENOBUFS ENOMEM"),
    ("sendto", "EPIPE ECONNRESET EINTR EAGAIN ENOBUFS ENOMEM short"),
    ("recvfrom", "ECONNRESET EINTR EAGAIN ENOBUFS ENOMEM ETIMEDOUT short"),
    ("poll", "EINTR ENOMEM EAGAIN"),
    ("mmap", "ENOMEM EAGAIN EPERM"),
    ("mprotect", "ENOMEM EACCES EPERM"),
    ("clone3", "ENOSYS EAGAIN ENOMEM EPERM"),
    ("getrandom", "ENOSYS EINTR EAGAIN EPERM short"),
    # The preferences file's write.
    ("write", "EIO ENOSPC EINTR EAGAIN EROFS short"),
    ("fsync", "EIO EROFS EINTR ENOSPC"),
    ("linkat", "EPERM EACCES EROFS ENOENT ENOSPC"),
    ("rename", "EACCES EROFS EPERM EIO ENOSPC"),
    ("mkdir", "EACCES EROFS EPERM ENOENT ENOSPC"),
    ("flock", "EINTR ENOMEM EAGAIN ENOLCK"),
]

SHORT_RESULT = {"read": 0, "recvfrom": 0, "write": 1, "sendto": 1, "getrandom": 1}

# Calls found in the survey by what they work on: (row, call, target, the
# pattern of its strace line, errors).
TARGETS = [
    ("openat O_TMPFILE", "openat", "tmpfile", r"O_TMPFILE",
     "EOPNOTSUPP EISDIR EROFS EACCES ENOSPC EIO EMFILE"),
    ("recvfrom", "recvfrom", "route-events", r"NETLINK.*MSG_DONTWAIT",
     "ENOBUFS EINTR EAGAIN ENOMEM"),
    ("recvfrom", "recvfrom", "route-dump", r"NETLINK(?!.*MSG_DONTWAIT)",
     "ENOBUFS EINTR EAGAIN ENOMEM short"),
    ("sendto", "sendto", "route-request", r"NETLINK", "ENOBUFS EINTR EAGAIN ENOMEM"),
    ("socket", "socket", "tcp", r"AF_INET6?,", "EMFILE ENFILE ENOBUFS ENOMEM EACCES EPERM"),
]

# Calls delayed by DELAY on their first and their middle call: slow, not failing.
DELAY = "1s"
DELAYED_CALLS = ("openat read newfstatat getdents64 statfs socket connect sendto recvfrom poll "
                 "mmap clone3 getrandom write fsync flock rename").split()

ROLES = ("collection", "transfer", "main")

# Calls that make a descriptor, which a small RLIMIT_NOFILE refuses.
DESCRIPTOR_CALLS = ("openat", "socket", "socketpair", "eventfd2", "pipe2", "dup", "fcntl")

# How many mmap calls a run may have refused under RLIMIT_AS: one per thread
# that finds no room for a stack or an allocator arena, and a few more.
MAX_REFUSED_MAPS = 100

# Every call the survey counts.
SURVEYED = sorted({call for call, _ in CALL_FAULTS} | {"clone", "unlink", "close"})


@dataclass
class Survey:
    counts: dict = field(default_factory=dict)  # (role, call) -> calls made
    targets: dict = field(default_factory=dict)  # target -> (call, index in its thread)
    largest_tls_send: int = 0  # the index of the transfer thread's largest send


_LINE = re.compile(r"(\d+) +(\w+)\((.*)")
_SENT = re.compile(r"= (\d+)$")


def read_survey(trace_lines, host_pid):
    """Counts, per thread role, the calls of a traced run without faults."""
    per_thread = {}
    calls = []
    for line in trace_lines:
        match = _LINE.match(line)
        if not match:
            continue
        tid, call, rest = int(match.group(1)), match.group(2), match.group(3)
        counts = per_thread.setdefault(tid, {})
        counts[call] = counts.get(call, 0) + 1
        calls.append((tid, call, counts[call], rest))

    roles = {host_pid: "main"}
    transfer = next((tid for tid, call, _, rest in calls
                     if call == "connect" and "TCP" in rest), None)
    if transfer is not None:
        roles[transfer] = "transfer"
    others = [tid for tid in per_thread if tid not in roles]
    if others:
        roles[max(others, key=lambda tid: sum(per_thread[tid].values()))] = "collection"

    survey = Survey()
    for tid, role in roles.items():
        for call, count in per_thread.get(tid, {}).items():
            survey.counts[(role, call)] = count
    for _, call, target, pattern, _ in TARGETS:
        for tid, made, index, rest in calls:
            if made == call and re.search(pattern, rest):
                survey.targets[target] = (call, index)
                break
    sends = [(int(sent.group(1)), index) for tid, call, index, rest in calls
             if tid == transfer and call == "sendto" and "TCP" in rest
             and (sent := _SENT.search(rest))]
    if sends:
        survey.largest_tls_send = max(sends)[1]
    return survey


def positions(survey, call):
    """(name, when=) of the calls to fault: the first and every call of each
    thread, and for each role its middle call, every call from there, and its
    last call (or, of a few calls, each)."""
    found = [("first", "1"), ("every", "1+")]
    for role in ROLES:
        count = survey.counts.get((role, call), 0)
        if 2 <= count <= 3:
            found += [(f"call-{index}@{role}", str(index)) for index in range(2, count + 1)]
        elif count >= 4:
            middle = (count + 1) // 2
            found += [(f"middle@{role}", str(middle)), (f"from-middle@{role}", f"{middle}+"),
                      (f"last@{role}", str(count))]
    unique = {}
    for name, when in found:
        unique.setdefault(when, name)
    return [(name, when) for when, name in unique.items()]


def _transient(error):
    # A signal interrupts one call; EINTR on every call from some point on is
    # no state a system can be in, and code that retries as it should spins.
    return error == "EINTR"


def _fault(call, error):
    if error == "short":
        return f"{call}:retval={SHORT_RESULT[call]}"
    return f"{call}:error={error}"


def call_cases(survey):
    cases = []
    for call, errors in CALL_FAULTS:
        for error in errors.split():
            for position, when in positions(survey, call):
                if _transient(error) and when.endswith("+"):
                    continue
                cases.append(Case(f"{call}/{error}/{position}", call,
                                  [f"{_fault(call, error)}:when={when}"]))
    # clone, which glibc falls back to when clone3 is not there.
    for error in "EAGAIN ENOMEM EPERM".split():
        for position, when in positions(survey, "clone3"):
            cases.append(Case(f"clone/{error}/{position}", "clone (no clone3)",
                              ["clone3:error=ENOSYS", f"clone:error={error}:when={when}"]))
    for row, call, target, _, errors in TARGETS:
        if target not in survey.targets:
            continue
        index = survey.targets[target][1]
        made = {when for _, when in positions(survey, call)}
        for error in errors.split():
            for position, when in ((target, f"{index}"), (f"from-{target}", f"{index}+")):
                if when in made or (_transient(error) and when.endswith("+")):
                    continue  # the same fault as a case above, or one no system makes
                cases.append(Case(f"{call}/{error}/{position}", row,
                                  [f"{_fault(call, error)}:when={when}"]))
    return cases


def delay_cases(survey):
    cases = []
    for call in DELAYED_CALLS:
        for position, when in positions(survey, call):
            if position == "first" or position.startswith("middle@"):
                cases.append(Case(f"delay/{call}/{position}", "delays",
                                  [f"{call}:delay_enter={DELAY}:when={when}"]))
    return cases


def stall_cases(survey):
    # A call stalls far beyond the host's flush (the first receive of each
    # thread, or the upload's request); the host then leaves main, and exit()
    # must not wait for the stalled thread beyond the stall itself. A traced
    # process cannot finish exiting while its tracer holds one of its threads
    # in a delay (measured: the same 5 s with the library's exit handler
    # removed), so exit() may last until the stall ends; it starts after the
    # stall did, so never longer than the stall itself. How much of it is left
    # depends on how long the run took to reach the stalled call (seconds on a
    # loaded machine), which a fixed shorter bound would mistake for a fault.
    if not survey.largest_tls_send:
        return []
    stall_s = 8
    stalls = [("recvfrom/first", f"recvfrom:delay_enter={stall_s}s:when=1"),
              ("sendto/request",
               f"sendto:delay_enter={stall_s}s:when={survey.largest_tls_send}")]
    return [Case(f"stall/{name}", "stalled run", [injection], host_args=["--flush-ms", "3000"],
                 leave_after_first=True, exit_bound=float(stall_s))
            for name, injection in stalls]


def limit_cases():
    cases = []
    # The host holds all but a few descriptors under a small limit during its
    # first run, then gives them back and runs twice more.
    for limit in (16, 32, 64):
        for free in range(9):
            cases.append(Case(f"nofile/{limit}/free-{free}", "RLIMIT_NOFILE",
                              host_args=["--nofile", str(limit), "--free-fds", str(free)],
                              later_runs=2, traced=DESCRIPTOR_CALLS, refusal="EMFILE"))
    # A tight address space during the first run. The refused mmap calls are
    # counted: a run that keeps asking for what it was refused is slow.
    for mib in (48, 64, 80, 96, 112, 128, 160, 192, 224, 256):
        cases.append(Case(f"as/{mib}MiB", "RLIMIT_AS", host_args=["--as-mib", str(mib)],
                          traced=("mmap",), refusal="ENOMEM", max_refusals=MAX_REFUSED_MAPS))
    return cases


def lookup_cases():
    # The default host lies under .invalid: its upload fails without asking
    # any resolver, and so without a query leaving the machine.
    return [Case("lookup/default-host", "look-up", routed=False, no_lookup=True, later_runs=0,
                 traced=("connect", "sendto", "sendmmsg", "openat"))]


def control_case():
    """The survey: every surveyed call traced, nothing injected."""
    return Case("none/control", "none", traced=tuple(SURVEYED), survey=True)


def all_cases(survey):
    return (call_cases(survey) + delay_cases(survey) + stall_cases(survey) + limit_cases()
            + lookup_cases())
