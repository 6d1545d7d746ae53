"""What the benchmarks share: a private /opt with sample installations, list pages, and a web server on loopback."""

import contextlib
import functools
import http.server
import os
import shutil
import subprocess
import sys
import threading

PROJECT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
BUILD = f"{PROJECT}/build/release"
PROGRAM = f"{BUILD}/app/tavrin_update"
HOME = "/opt/home"
INSTALLATION = "/opt/tavrin/5.9"
OUTSIDE = "TAVRIN_BENCH_OUTSIDE"
MARK = "/opt/.with_private_opt"


def enter_private_opt(*groups):
    """Builds what the benchmarks need and starts this one again with a private /opt, unless it has one already.

    `groups` are those of scripts/setup that are needed beside the usual ones.
    """
    namespace = os.readlink("/proc/self/ns/mnt")
    if os.path.isdir(MARK) and os.environ.get(OUTSIDE, namespace) != namespace:
        return
    subprocess.run([f"{PROJECT}/scripts/setup", "build", "run", "bench", *groups], check=True)
    print("Building ...", flush=True)
    for step in (["--preset", "release"], ["--build", "--preset", "release", "--target", "bench"]):
        result = subprocess.run(["cmake", *step], cwd=PROJECT, text=True, stdout=subprocess.PIPE,
                                stderr=subprocess.STDOUT)
        if result.returncode != 0:
            sys.exit(f"{result.stdout}\nThe build failed.")
    wrapper = f"{PROJECT}/scripts/with_private_opt"
    os.execve(wrapper, [wrapper, sys.executable, "-B", *sys.argv], dict(os.environ, **{OUTSIDE: namespace}))


def make_installation(directory=INSTALLATION):
    """Makes a sample installation, in place of the one that may be there."""
    shutil.rmtree(directory, ignore_errors=True)
    subprocess.run([f"{PROJECT}/demo/make_installation", directory], check=True)


def clean_environment(**variables):
    return dict({"PATH": os.environ["PATH"], "LC_ALL": "C.UTF-8", "HOME": HOME}, **variables)


def description(number):
    """The description of a patch on a list page: one to four lines."""
    return "\n".join(["Corrects a fault in the conversion of records."] * (1 + number % 4))


def heading(number):
    return f"P{number} 1 May 2020"


def archive_name(number):
    return f"P{number}.tar.gz"


def write_page(directory, count):
    """Writes the list page of patches P0, P1 and so on."""
    os.makedirs(directory, exist_ok=True)
    with open(f"{directory}/index.html", "w") as page:
        page.write("<html><head><title>Patches</title></head><body>\n<!-- new patch list -->\n<ul>\n")
        for number in range(count):
            page.write(f'<li><a href="{archive_name(number)}">{heading(number)}</a></li>\n'
                       f"<blockquote>{description(number)}</blockquote>\n")
        page.write("</ul>\n</body></html>\n")


class QuietServer(http.server.ThreadingHTTPServer):
    daemon_threads = True
    request_queue_size = 256

    def handle_error(self, request, client_address):
        pass  # the program closes connections whose answer it no longer needs


class QuietHandler(http.server.SimpleHTTPRequestHandler):
    protocol_version = "HTTP/1.1"
    disable_nagle_algorithm = True  # or the body waits for the client to acknowledge the header

    def log_message(self, *arguments):
        pass


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


def file_server(directory):
    """Serves the files of a directory."""
    return server(functools.partial(QuietHandler, directory=directory))
