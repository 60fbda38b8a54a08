"""What the tests in the box share: commands, bus calls, and a gateway as delivered."""

import json
import shutil
import subprocess
from pathlib import Path

CONFIG = Path("/etc/config")
PRISTINE = Path("/var/lib/box-pristine")
COMPATIBLE = Path("/sys/firmware/devicetree/base/compatible")
# What a run of the daemon leaves behind, other than configuration.
LEFTOVERS = ["/tmp/cgi_dnsfilter", "/config/work/valueset", "/var/log/box/appcfgd.log", "/var/log/box/calls",
             "/run/zu_log", "/run/appcfg", "/var/run/wan_backup_manager.exit"]
PORTS = ["eth0", "eth1", "eth2", "eth3"]
NETFILTER = [("ebtables", "nat"), ("iptables", "mangle"), ("ip6tables", "mangle")]


def command(*words, timeout=60, **options):
    """Runs a command and returns its output and exit status."""
    done = subprocess.run(words, stdout=subprocess.PIPE, text=True, timeout=timeout, **options)
    return done.stdout, done.returncode


def must(*words):
    output, status = command(*words)
    if status != 0:
        raise RuntimeError(f"{' '.join(words)}: exit status {status}\n{output}")
    return output


def call(target, method, **arguments):
    """A bus call: its reply (None if there is none) and bus status."""
    reply, status = command("ubus", "-S", "call", target, method, json.dumps(arguments))
    return json.loads(reply) if reply else None, status


def reset():
    """A gateway as delivered, with a platform that knows nothing yet."""
    if not PRISTINE.exists():
        shutil.copytree(CONFIG, PRISTINE)
    must("box-service", "stop", "appcfgd", "platformd", "resolver")
    for path in Path("/run/appcfg").glob("pid.*"):
        command("kill", "-KILL", path.read_text().split()[0])
    must("mount", "-o", "remount,rw", str(CONFIG))
    for path in CONFIG.iterdir():
        path.unlink()
    shutil.copytree(PRISTINE, CONFIG, dirs_exist_ok=True)
    for name in LEFTOVERS:
        path = Path(name)
        if path.is_dir():
            shutil.rmtree(path)
            path.mkdir()
        else:
            path.unlink(missing_ok=True)
    COMPATIBLE.write_bytes(b"vakor,gateway\0")
    must("box-board", "router")
    for port in PORTS:
        must("ip", "link", "set", port, "master", "br-lan")
    for tool, table in NETFILTER:
        must(tool, "-t", table, "-F")
        must(tool, "-t", table, "-X")
    must("box-service", "start", "platformd")
