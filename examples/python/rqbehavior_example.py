#!/usr/bin/env python3
"""A host application written in Python, using RQBehavior's C interface
through ctypes. It names itself, starts one collection run and, before it
exits, waits at most 15 seconds for the device profile the library uploads
in the background.

    python3 rqbehavior_example.py [path/to/libRQBehavior.so.3]
"""
import atexit
import ctypes
import sys

RQB_OK = 0
RQB_SESSION_ID_SIZE = 37


class RqbError(ctypes.Structure):
    _fields_ = [("name", ctypes.c_char_p), ("reason", ctypes.c_char_p)]


class RqbLogMessage(ctypes.Structure):
    _fields_ = [("text", ctypes.c_char_p), ("text_length", ctypes.c_size_t),
                ("unix_time_ns", ctypes.c_int64), ("program", ctypes.c_char_p),
                ("process_id", ctypes.c_long), ("thread_id", ctypes.c_long)]


LOG_HANDLER = ctypes.CFUNCTYPE(None, ctypes.POINTER(RqbLogMessage), ctypes.c_void_p)


def load(path):
    lib = ctypes.CDLL(path)
    lib.rqb_set_app.argtypes = [ctypes.c_char_p]
    lib.rqb_generate_session_id.argtypes = [ctypes.c_char_p, ctypes.c_size_t]
    lib.rqb_collect_device_information.argtypes = [
        ctypes.c_char_p, ctypes.POINTER(ctypes.POINTER(RqbError))]
    lib.rqb_error_free.argtypes = [ctypes.POINTER(RqbError)]
    lib.rqb_error_free.restype = None
    lib.rqb_flush.argtypes = [ctypes.c_uint32]
    lib.rqb_set_log_handler.argtypes = [LOG_HANDLER, ctypes.c_void_p]
    return lib


def main():
    lib = load(sys.argv[1] if len(sys.argv) > 1 else "libRQBehavior.so.3")
    app = b"python-example"

    # The library's log, written the host's way. Called on the library's
    # threads, so it must not be called once the interpreter shuts down: a
    # ctypes callback cannot run then (Python ends a thread that tries). It
    # is removed at exit, whichever way main() ends; once removal returns the
    # handler is never called again, so the interpreter may release it, and
    # later messages go to stderr.
    @LOG_HANDLER
    def log_line(message, _context):
        print(f"{app.decode()}: rqbehavior: {message.contents.text.decode()}", file=sys.stderr)

    if lib.rqb_set_log_handler(log_line, None) != RQB_OK:
        sys.exit(f"{app.decode()}: the library is not usable")
    atexit.register(lib.rqb_set_log_handler, LOG_HANDLER(), None)
    if lib.rqb_set_app(app) != RQB_OK:
        sys.exit(f"{app.decode()}: the library is not usable")

    session = ctypes.create_string_buffer(RQB_SESSION_ID_SIZE)
    if lib.rqb_generate_session_id(session, len(session)) != RQB_OK:
        sys.exit(f"{app.decode()}: no session identifier")
    error = ctypes.POINTER(RqbError)()
    if lib.rqb_collect_device_information(session.value, ctypes.byref(error)) != RQB_OK:
        reason = f"{error.contents.name.decode()}: {error.contents.reason}" if error else "failed"
        lib.rqb_error_free(error)
        sys.exit(f"{app.decode()}: no collection: {reason}")
    print(f"{app.decode()}: collecting the device profile for session {session.value.decode()}",
          flush=True)

    # Before exiting, the host waits at most 15 seconds for the upload it
    # started (never from within the handler, where it would not wait).
    sent = lib.rqb_flush(15000) == RQB_OK
    if not sent:
        sys.exit(f"{app.decode()}: the upload did not finish in time")


if __name__ == "__main__":
    main()
