"""What the benchmarks share: a private /opt with a sample installation in it, and a web server on loopback."""

import contextlib
import http.server
import os
import shutil
import subprocess
import sys
import threading

PROJECT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
PROGRAM = f"{PROJECT}/build/release/app/tavrin_update"
INSTALLATION = "/opt/tavrin/5.9"
OUTSIDE = "TAVRIN_BENCH_OUTSIDE"
MARK = "/opt/.with_private_opt"


def enter_private_opt():
    """Starts this benchmark again with a private /opt, unless it has one already."""
    namespace = os.readlink("/proc/self/ns/mnt")
    if os.path.isdir(MARK) and os.environ.get(OUTSIDE, namespace) != namespace:
        return
    subprocess.run([f"{PROJECT}/scripts/setup", "run", "bench"], check=True)
    wrapper = f"{PROJECT}/scripts/with_private_opt"
    os.execve(wrapper, [wrapper, sys.executable, *sys.argv], dict(os.environ, **{OUTSIDE: namespace}))


def make_installation():
    """Makes the sample installation, in place of the one that may be there."""
    shutil.rmtree(INSTALLATION, ignore_errors=True)
    subprocess.run([f"{PROJECT}/demo/make_installation", INSTALLATION], check=True)


def clean_environment(**variables):
    return dict({"PATH": os.environ["PATH"], "LC_ALL": "C.UTF-8", "HOME": "/opt/home"}, **variables)


class QuietServer(http.server.ThreadingHTTPServer):
    daemon_threads = True
    request_queue_size = 256

    def handle_error(self, request, client_address):
        pass  # the program closes connections whose answer it no longer needs


@contextlib.contextmanager
def server(handler):
    """Serves on a free port of loopback; gives the URL of the root, without a slash at the end."""
    running = QuietServer(("127.0.0.1", 0), handler)
    threading.Thread(target=running.serve_forever, daemon=True).start()
    try:
        yield f"http://127.0.0.1:{running.server_address[1]}"
    finally:
        running.shutdown()
        running.server_close()
