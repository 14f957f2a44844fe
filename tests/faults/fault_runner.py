"""Runs one case of the fault campaign: the host waits while strace attaches
and injects the case's faults into its first run, strace detaches, and the
host runs again with nothing in the way. What the host reported, what the
receiver got and what strace saw are gathered into an Outcome."""
import json
import os
import re
import shutil
import signal
import subprocess
import tempfile
import threading
import time
from dataclasses import dataclass, field

HOST_SIGNAL_WAIT = 10.0  # seconds for the host to start or to answer
TRACER_WAIT = 10.0  # seconds for strace to attach to or detach from every thread
EXIT_WAIT = 30.0  # seconds for exit() before the host counts as stuck in it


class PtraceRefused(Exception):
    """This system does not let strace attach to the host."""


def block_driver_signals():
    # The host signals the driver with SIGUSR2, awaited with sigtimedwait;
    # blocked before any thread starts, so that no thread takes it.
    signal.pthread_sigmask(signal.SIG_BLOCK, {signal.SIGUSR2})


@dataclass
class Case:
    name: str  # e.g. "openat/EACCES/middle@collection"
    family: str  # the row of the table
    injections: list = field(default_factory=list)  # strace -e inject= expressions
    traced: tuple = ()  # system calls strace logs, besides those injected
    host_args: list = field(default_factory=list)
    later_runs: int = 1
    routed: bool = True  # uploads go to the loopback receiver
    leave_after_first: bool = False  # the host leaves main after its first run
    refusal: str = ""  # the error of a call that a resource limit refuses
    max_refusals: int = 0  # how many the first run may have, 0 for any number
    no_lookup: bool = False  # no name may be looked up
    exit_bound: float = 3.0  # seconds exit() may take once main returns
    survey: bool = False  # keeps strace's lines, for the survey


@dataclass
class Run:
    number: int
    session: str  # the library's, or the host's own when the library made none
    collect: str
    flush: str
    ms: int
    logs: list = field(default_factory=list)
    requests: list = field(default_factory=list)


@dataclass
class Outcome:
    hung: str = ""  # what the host never did, when it stopped answering
    exit_status: int = None
    exit_seconds: float = 0.0
    runs: list = field(default_factory=list)
    fired: int = 0  # calls strace injected a fault into or delayed, or a limit refused
    lookups: list = field(default_factory=list)  # traced calls that look a name up
    trace_lines: list = field(default_factory=list)  # a few, for the report
    stderr: str = ""
    host_pid: int = 0
    trace: list = field(default_factory=list)  # strace's lines, for a survey


class Receiver:
    """The loopback receiver, with what it was sent indexed by SessionID."""

    def __init__(self, executable, folder):
        self.ca_file = os.path.join(folder, "ca.pem")
        self._process = subprocess.Popen([executable, self.ca_file], stdin=subprocess.PIPE,
                                         stdout=subprocess.PIPE, text=True)
        self.port = json.loads(self._process.stdout.readline())["port"]
        self._lock = threading.Lock()
        self._by_session = {}
        self._reader = threading.Thread(target=self._read, daemon=True)
        self._reader.start()

    def _read(self):
        for line in self._process.stdout:
            request = json.loads(line)
            match = re.search(r'"SessionID" : "([^"]*)"', request.get("body", ""))
            with self._lock:
                self._by_session.setdefault(match.group(1) if match else "",
                                            []).append(request)

    def requests_for(self, session, wait):
        deadline = time.monotonic() + wait
        while True:
            with self._lock:
                found = list(self._by_session.get(session, []))
            if found or time.monotonic() >= deadline:
                return found
            time.sleep(0.01)

    def close(self):
        self._process.stdin.close()
        try:
            self._process.wait(timeout=10)
        except subprocess.TimeoutExpired:
            _stop(self._process)


def _wait_for_host(host, seconds):
    """Waits for the host's next SIGUSR2; False if it exits or stays silent."""
    deadline = time.monotonic() + seconds
    while time.monotonic() < deadline:
        info = signal.sigtimedwait({signal.SIGUSR2}, 0.05)
        if info is not None and info.si_pid == host.pid:
            return True
        if host.poll() is not None:
            return False
    return False


def _tracers(pid):
    """The TracerPid of each thread of `pid`."""
    tracers = []
    try:
        for task in os.listdir(f"/proc/{pid}/task"):
            with open(f"/proc/{pid}/task/{task}/status") as status:
                for line in status:
                    if line.startswith("TracerPid:"):
                        tracers.append(int(line.split()[1]))
    except OSError:
        pass  # a thread ended meanwhile; the next look sees the rest
    return tracers


def _wait_until_traced_by(host, tracer_pid, strace):
    deadline = time.monotonic() + TRACER_WAIT
    while time.monotonic() < deadline:
        tracers = _tracers(host.pid)
        if tracers and all(tracer == tracer_pid for tracer in tracers):
            return True
        if strace is not None and strace.poll() is not None:
            return False
        time.sleep(0.002)
    return False


def _silent(host, what):
    """`what`, if the host is still there; "" if it has ended (its status tells why)."""
    return what if host.poll() is None else ""


def _stop(process):
    if process is not None and process.poll() is None:
        process.kill()
        process.wait()


def start_strace(case, host_pid, log_path):
    traced = sorted({expression.split(":")[0] for expression in case.injections}
                    | set(case.traced))
    command = ["strace", "-f", "-qq", "-yy", "-e", "signal=none", "-e",
               "trace=" + ",".join(traced), "-o", log_path]
    for expression in case.injections:
        command += ["-e", "inject=" + expression]
    return subprocess.Popen(command + ["-p", str(host_pid)], stdout=subprocess.DEVNULL,
                            stderr=subprocess.PIPE, text=True)


_RUN = re.compile(r"run (\d+) session=(\S+) generated=(\S+) collect=(\S+) flush=(\S+) ms=(\d+)")
_LOG = re.compile(r"log (\d+) (.*)")
_LOOKUP = re.compile(r"htons\(53\)|:53\]|nscd|resolve|/etc/resolv\.conf|/etc/hosts")


def _read_report(text):
    runs = {}
    logs = []
    for line in text.splitlines():
        if match := _RUN.fullmatch(line):
            number, session, _, collect, flush, ms = match.groups()
            runs[int(number)] = Run(int(number), session, collect, flush, int(ms))
        elif match := _LOG.fullmatch(line):
            logs.append((int(match.group(1)), match.group(2)))
    for number, text in logs:
        if number in runs:
            runs[number].logs.append(text)
    return [runs[number] for number in sorted(runs)]


def _read_trace(case, log_path, outcome):
    try:
        with open(log_path, errors="replace") as log:
            for line in log:
                if case.survey:
                    outcome.trace.append(line)
                if case.refusal and f"= -1 {case.refusal} " in line:
                    outcome.fired += 1
                    if len(outcome.trace_lines) < 3:
                        outcome.trace_lines.append(line.strip()[:200])
                elif "(INJECTED)" in line or "(DELAYED)" in line:
                    outcome.fired += 1
                    if len(outcome.trace_lines) < 3:
                        outcome.trace_lines.append(line.strip()[:200])
                elif case.no_lookup and _LOOKUP.search(line):
                    outcome.lookups.append(line.strip()[:200])
    except OSError:
        pass


class CaseRunner:
    def __init__(self, host, receiver, scratch, flush_ms):
        self.host = host
        self.receiver = receiver
        self.scratch = scratch
        self.flush_ms = flush_ms

    def _environment(self, case, home):
        environment = dict(os.environ, HOME=home, XDG_CONFIG_HOME=os.path.join(home, ".config"),
                           XDG_DATA_HOME=os.path.join(home, ".local", "share"))
        for name in ("RQBEHAVIOR_TEST_LOOPBACK_PORT", "RQBEHAVIOR_TEST_LOOPBACK_CA_FILE"):
            environment.pop(name, None)
        if case.routed:
            environment["RQBEHAVIOR_TEST_LOOPBACK_PORT"] = str(self.receiver.port)
            environment["RQBEHAVIOR_TEST_LOOPBACK_CA_FILE"] = self.receiver.ca_file
        return environment

    def run(self, case):
        folder = tempfile.mkdtemp(prefix="case.", dir=self.scratch)
        try:
            return self._run_in(case, folder)
        finally:
            shutil.rmtree(folder, ignore_errors=True)

    def _run_in(self, case, folder):
        outcome = Outcome()
        home = os.path.join(folder, "home")
        os.mkdir(home)
        log_path = os.path.join(folder, "strace.log")
        arguments = [self.host, "--flush-ms", str(self.flush_ms),
                     "--later-runs", str(case.later_runs)] + case.host_args
        if case.leave_after_first:
            arguments.append("--leave-after-first")
        host = subprocess.Popen(arguments, env=self._environment(case, home),
                                stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
        outcome.host_pid = host.pid
        strace = None
        try:
            if not _wait_for_host(host, HOST_SIGNAL_WAIT):
                outcome.hung = _silent(host, "the host never got ready")
                return self._finish(host, strace, case, log_path, outcome)
            if case.injections or case.traced:
                strace = start_strace(case, host.pid, log_path)
                if not _wait_until_traced_by(host, strace.pid, strace):
                    error = strace.communicate(timeout=TRACER_WAIT)[1] if strace.poll() else ""
                    _stop(strace)
                    _stop(host)
                    raise PtraceRefused(error.strip() or "strace did not attach in time")
            os.kill(host.pid, signal.SIGUSR1)
            run_wait = self.flush_ms / 1000 + HOST_SIGNAL_WAIT
            if not _wait_for_host(host, run_wait):
                outcome.hung = _silent(host, f"run 1 did not end within {run_wait:.0f} s")
                return self._finish(host, strace, case, log_path, outcome)
            if not case.leave_after_first:
                if strace is not None:
                    strace.terminate()  # strace detaches from every thread and ends
                    strace.wait(timeout=TRACER_WAIT)
                    if not _wait_until_traced_by(host, 0, None):
                        outcome.hung = "strace did not detach"
                        return self._finish(host, strace, case, log_path, outcome)
                os.kill(host.pid, signal.SIGUSR1)
                later_wait = case.later_runs * self.flush_ms / 1000 + HOST_SIGNAL_WAIT
                if not _wait_for_host(host, later_wait):
                    outcome.hung = _silent(
                        host, f"the later runs did not end within {later_wait:.0f} s")
                    return self._finish(host, strace, case, log_path, outcome)
            leaving = time.monotonic()
            try:
                host.wait(timeout=EXIT_WAIT)
            except subprocess.TimeoutExpired:
                outcome.hung = f"exit() did not end within {EXIT_WAIT:.0f} s"
            outcome.exit_seconds = time.monotonic() - leaving
            return self._finish(host, strace, case, log_path, outcome)
        except BaseException:
            _stop(strace)
            _stop(host)
            raise

    def _finish(self, host, strace, case, log_path, outcome):
        _stop(host)
        if strace is not None:
            try:
                strace.wait(timeout=TRACER_WAIT)
            except subprocess.TimeoutExpired:
                _stop(strace)
        stdout, stderr = host.communicate()
        outcome.exit_status = host.returncode
        outcome.stderr = stderr[-2000:]
        outcome.runs = _read_report(stdout)
        for run in outcome.runs:
            # A flush that returned ok has seen its upload answered.
            wait = 0.3 if run.flush == "ok" else 0.1
            run.requests = self.receiver.requests_for(run.session, wait)
        _read_trace(case, log_path, outcome)
        if case.leave_after_first and outcome.runs and outcome.runs[0].flush == "timed-out":
            # The stalled call is still stopped when the host leaves, so strace
            # never writes its line out: the flush that timed out shows it.
            outcome.fired = max(outcome.fired, 1)
        return outcome
