"""A print server of its own for one test: a private bus, the print service, CUPS's own cupsd, and simulated printers on TCP.

Everything lives in one temporary folder, runs as user lp and ends with the server. To become lp it is started by root. No
service of the machine is touched.
"""
import contextlib
import glob
import json
import os
import pwd
import re
import shutil
import signal
import socket
import subprocess
import tempfile
import threading
import time

USER = "lp"
SIMULATOR_START_S = 5
BUS_LIMIT_S = 30


def wait_until(what, condition, seconds):
    """Returns the condition's first true value; fails after so many seconds, saying what was waited for."""
    end = time.monotonic() + seconds
    while time.monotonic() < end:
        value = condition()
        if value:
            return value
        time.sleep(0.05)
    raise AssertionError(f"{what}: not within {seconds} s")


class Relay:
    """A TCP proxy in front of a printer that keeps what the service sent to it."""

    def __init__(self, target):
        self.target = target
        self.sent = bytearray()
        self.listener = socket.create_server(("127.0.0.1", 0))
        self.port = self.listener.getsockname()[1]
        threading.Thread(target=self._serve, daemon=True).start()

    def _serve(self):
        with contextlib.suppress(OSError):
            while True:
                client, _ = self.listener.accept()
                printer = socket.create_connection(self.target)
                for source, sink, kept in ((client, printer, self.sent), (printer, client, None)):
                    threading.Thread(target=self._copy, args=(source, sink, kept), daemon=True).start()

    @staticmethod
    def _copy(source, sink, kept):
        with contextlib.suppress(OSError):
            while data := source.recv(65536):
                if kept is not None:
                    kept += data
                sink.sendall(data)
        with contextlib.suppress(OSError):
            sink.shutdown(socket.SHUT_WR)

    def close(self):
        self.listener.close()


class Printer:
    """A simulated printer, and the relay by which the service reaches it."""

    def __init__(self, server, name, options):
        self.name = name
        self.events = []
        self.process = subprocess.Popen(
            server.as_user([server.program("zrtctl"), "simulate", options, "--listen", "127.0.0.1:0", "--json"]),
            stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=server.log("printer"), text=True)
        threading.Thread(target=self._read, daemon=True).start()
        address = wait_until("the simulated printer's address", self._address, SIMULATOR_START_S)
        host, port = address.rsplit(":", 1)
        self.relay = Relay((host, int(port)))

    def _read(self):
        for line in self.process.stdout:
            self.events.append(json.loads(line))

    def _address(self):
        return next((event["address"] for event in self.events if event["event"] == "listening"), None)

    def order(self, text):
        self.process.stdin.write(text + "\n")
        self.process.stdin.flush()

    def cards(self):
        return sum(event["event"] == "card" for event in self.events)

    def close(self):
        """Ends the printer; fails if a command broke its language."""
        self.relay.close()
        self.process.send_signal(signal.SIGTERM)
        status = self.process.wait(10)
        violations = [event for event in self.events if event["event"] == "violation"]
        assert status == 0 and not violations, f"{self.name}: exit status {status}, violations {violations}"


class PrintServer:
    def __init__(self, programs):
        if os.geteuid() != 0:
            raise SystemExit("not root: start it as root or with sudo, since everything runs as user lp")
        self.programs = os.path.abspath(programs)
        self.folder = tempfile.mkdtemp(prefix="zrtmon-cups-")
        os.chmod(self.folder, 0o755)
        self.printers = {}
        self.bus = self.service = self.cupsd = None
        self.cups_port = self._free_port()
        self.environment = {"PATH": "/usr/bin:/bin:/usr/sbin:/sbin", "LC_ALL": "C", "HOME": self.folder,
                            "CUPS_SERVER": f"127.0.0.1:{self.cups_port}"}
        self._make_folders()
        self._start_bus()

    # Folders and programs

    def _make_folders(self):
        for name in ("bin/backend", "etc/ppd", "run", "cache", "spool", "tmp", "log", "config/printers.d", "state"):
            os.makedirs(self.path(name))
        # Copies: the build folder may be one that user lp cannot reach.
        for program in ("zrtctl", "zrtmond", "libzrtmon.so"):
            shutil.copy2(os.path.join(self.programs, program), self.path("bin"))
        for library in glob.glob(os.path.join(self.programs, "..", "platform", "libzrtplatform.so*")):
            shutil.copy2(library, self.path("bin"))
        shutil.copy2(os.path.join(self.programs, "backend", "zrt"), self.path("bin/backend"))
        for part in ("filter", "daemon", "monitor", "notifier"):
            os.symlink(f"/usr/lib/cups/{part}", self.path("bin", part))
        self.environment["LD_LIBRARY_PATH"] = self.path("bin")
        account = pwd.getpwnam(USER)
        for folder, _, files in os.walk(self.folder):
            for name in [folder] + [os.path.join(folder, file) for file in files]:
                os.chown(name, account.pw_uid, account.pw_gid, follow_symlinks=False)

    def path(self, *names):
        return os.path.join(self.folder, *names)

    def program(self, name):
        return self.path("bin", name)

    def log(self, name):
        return open(self.path("log", name), "a", encoding="utf-8")

    def as_user(self, command):
        """The command as the server's user, with nothing of this process's environment."""
        variables = [f"{name}={value}" for name, value in self.environment.items()]
        return ["setpriv", f"--reuid={USER}", f"--regid={USER}", "--clear-groups", "env", "-i"] + variables + command

    def run(self, *command, check=True, **options):
        result = subprocess.run(self.as_user(list(command)), text=True, capture_output=True, timeout=60, **options)
        assert not check or result.returncode == 0, f"{command}: {result.returncode}: {result.stderr}{result.stdout}"
        return result.stdout

    def start(self, *command, **options):
        return subprocess.Popen(self.as_user(list(command)), **options)

    def _write(self, name, text):
        with open(self.path(name), "w", encoding="utf-8") as file:
            file.write(text)

    @staticmethod
    def _free_port():
        with socket.create_server(("127.0.0.1", 0)) as listener:
            return listener.getsockname()[1]

    # The bus

    def _start_bus(self):
        address = f"unix:path={self.path('run/bus')}"
        self._write("etc/bus.conf", f"""<busconfig><type>session</type><listen>{address}</listen><auth>EXTERNAL</auth>
            <policy context="default"><allow user="*"/><allow own="*"/><allow send_type="method_call"/>
            <allow send_destination="*" eavesdrop="false"/><allow receive_sender="*"/></policy></busconfig>""")
        self.bus = subprocess.Popen(
            self.as_user(["dbus-daemon", f"--config-file={self.path('etc/bus.conf')}", "--nofork"]),
            stderr=self.log("bus"))
        self.environment |= {"DBUS_SYSTEM_BUS_ADDRESS": address, "DBUS_SESSION_BUS_ADDRESS": address}
        wait_until("the bus", lambda: os.path.exists(self.path("run/bus")), 5)

    def call(self, path, interface, method, signature="", *arguments, check=True):
        """Calls the service as the server's user and returns the reply's values, or None if it fails and check is off."""
        output = self.run("busctl", f"--address={self.environment['DBUS_SYSTEM_BUS_ADDRESS']}", "--json=short",
                          f"--timeout={BUS_LIMIT_S}", "call", "org.zrtmon", path, interface, method, signature,
                          *[str(argument) for argument in arguments], check=check)
        return json.loads(output)["data"] if output else None

    def properties(self, path, interface):
        values = self.call(path, "org.freedesktop.DBus.Properties", "GetAll", "s", interface)[0]
        return {name: value["data"] for name, value in values.items()}

    # The service

    def add_printer(self, name, options="card-ms=50"):
        printer = Printer(self, name, options)
        self.printers[name] = printer
        file_name = re.sub(r"\W", "_", name)
        self._write(f"config/printers.d/{file_name}.conf",
                    f"name = {name}\nport = tcp:127.0.0.1:{printer.relay.port}\n")
        return printer

    def start_service(self):
        self.service = subprocess.Popen(
            self.as_user([self.program("zrtmond"), "--session", "--config", self.path("config"), "--state",
                          self.path("state")]),
            stdout=self.log("service"), stderr=subprocess.STDOUT)
        wait_until("the service", lambda: self.call("/org/zrtmon", "org.zrtmon.Manager", "GetPrinters", check=False), 20)

    def stop_service(self, how=signal.SIGTERM):
        self.service.send_signal(how)
        return self.service.wait(150)

    @staticmethod
    def object_path(name):
        encoded = "".join(chr(byte) if chr(byte).isalnum() and byte < 128 else f"_{byte:02x}" for byte in name.encode())
        return f"/org/zrtmon/printers/{encoded}"

    def printer_properties(self, name):
        return self.properties(self.object_path(name), "org.zrtmon.Printer")

    def current_job(self, name):
        """The path of the printer's job, or None."""
        path = self.printer_properties(name)["CurrentJob"]
        return None if path == "/" else path

    def journal(self):
        """The journal as the bus gives it."""
        jobs = self.call("/org/zrtmon", "org.zrtmon.Manager", "GetJobs", "x", 0)[0]
        return [{name: value["data"] for name, value in job.items()} for job in jobs]

    # CUPS

    def start_cups(self):
        if not os.path.exists(self.path("etc/cupsd.conf")):
            self._configure_cups()
        self.cupsd = subprocess.Popen(
            self.as_user(["cupsd", "-f", "-c", self.path("etc/cupsd.conf"), "-s", self.path("etc/cups-files.conf")]),
            stdout=self.log("cupsd"), stderr=subprocess.STDOUT)
        wait_until("cupsd", lambda: "is running" in self.run("lpstat", "-r", check=False), 20)

    def _configure_cups(self):
        folder = self.folder
        address = self.environment["DBUS_SYSTEM_BUS_ADDRESS"]
        self._write("etc/cups-files.conf", f"""ServerRoot {folder}/etc
ServerBin {folder}/bin
DataDir /usr/share/cups
StateDir {folder}/run
CacheDir {folder}/cache
RequestRoot {folder}/spool
TempDir {folder}/tmp
AccessLog {folder}/log/access
ErrorLog {folder}/log/error
PageLog {folder}/log/page
User {USER}
Group {USER}
SystemGroup {USER}
SetEnv DBUS_SYSTEM_BUS_ADDRESS {address}
SetEnv LD_LIBRARY_PATH {folder}/bin
""")
        # Without DirtyCleanInterval 0 a killed cupsd forgets what happened in the last 30 s.
        self._write("etc/cupsd.conf", f"""LogLevel debug
LogTimeFormat usecs
MaxLogSize 0
DirtyCleanInterval 0
MaxJobs 0
Listen 127.0.0.1:{self.cups_port}
Listen {folder}/run/cups.sock
Browsing No
WebInterface No
DefaultAuthType None
<Location />
Order allow,deny
Allow all
</Location>
<Location /admin>
Order allow,deny
Allow all
</Location>
<Policy default>
JobPrivateAccess all
JobPrivateValues none
<Limit All>
Order deny,allow
</Limit>
</Policy>
""")

    def add_queue(self, queue, uri, *options):
        self.run("lpadmin", "-p", queue, "-E", "-v", uri, "-m", "raw", *options)

    def _ipp(self, queue, request):
        """Sends the request with ipptool; returns the response's groups as {attribute: value}."""
        self._write("request.test", request)
        output = self.run("ipptool", "-tv", f"ipp://127.0.0.1:{self.cups_port}/printers/{queue}",
                          self.path("request.test"), check=False)
        # Not the exit status: from the second report of a ribbon on, cupsd gives the attribute that it derives twice.
        assert "status-code = successful-ok" in output, output
        response = output.split("RECEIVED", 1)[1]
        return [dict(re.findall(r"^\s*([\w.-]+) \([^)]*\) = (.*)$", group, re.MULTILINE))
                for group in re.split(r"-- separator --", response)]

    def printer_attributes(self, queue):
        return self._ipp(queue, GET_PRINTER)[0]

    def jobs(self, queue):
        """All jobs of the queue that CUPS knows, by title."""
        groups = self._ipp(queue, GET_JOBS)
        return {group["job-name"]: group for group in groups if "job-name" in group}

    def job(self, queue, title):
        return self.jobs(queue).get(title, {})

    def print(self, queue, file, title, *options, user="ann"):
        """Returns the request id, or None if cupsd did not take the job."""
        output = self.run("lp", "-U", user, "-d", queue, "-t", title, *options, file, check=False)
        found = re.search(r"request id is (\S+)", output)
        return found.group(1) if found else None

    def make_job(self, name, cards=1, seed=1):
        file = self.path("tmp", name)
        self.run(self.program("zrtctl"), "make-job", "--cards", str(cards), "--seed", str(seed), file)
        return file

    def backends(self):
        """The processes of the backend: {process: parent}."""
        found = {}
        for folder in glob.glob("/proc/[0-9]*"):
            with contextlib.suppress(OSError):
                if os.readlink(f"{folder}/exe") == self.path("bin/backend/zrt"):
                    with open(f"{folder}/stat", encoding="utf-8") as file:
                        found[int(folder[6:])] = int(file.read().rsplit(")", 1)[1].split()[1])
        return found

    # The end

    def close(self):
        for process in (self.cupsd, self.service, self.bus):
            if process and process.poll() is None:
                process.terminate()
                try:
                    process.wait(130)
                except subprocess.TimeoutExpired:
                    process.kill()
        for pid in self.backends():
            with contextlib.suppress(OSError):
                os.kill(pid, signal.SIGKILL)
        try:
            for printer in self.printers.values():
                printer.close()
        finally:
            if "ZRTMON_KEEP" in os.environ:
                print("kept:", self.folder)
            else:
                shutil.rmtree(self.folder, ignore_errors=True)


GET_PRINTER = """{
OPERATION Get-Printer-Attributes
GROUP operation-attributes-tag
ATTR charset attributes-charset utf-8
ATTR naturalLanguage attributes-natural-language en
ATTR uri printer-uri $uri
}
"""

GET_JOBS = """{
OPERATION Get-Jobs
GROUP operation-attributes-tag
ATTR charset attributes-charset utf-8
ATTR naturalLanguage attributes-natural-language en
ATTR uri printer-uri $uri
ATTR keyword which-jobs all
ATTR keyword requested-attributes job-id,job-name,job-uuid,job-state,job-state-reasons,job-printer-state-message,job-media-sheets-completed
}
"""
