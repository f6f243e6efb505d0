"""A Slurm of one controller and two nodes on this computer, with all its files in one folder, without
systemd."""
import os
import pathlib
import signal
import socket
import subprocess

from many_machines import free_ports, wait_for

CONFIGURATION = """ClusterName=check
SlurmctldHost={host}(127.0.0.1)
SlurmctldPort={ports[0]}
SlurmUser=root
AuthType=auth/munge
AuthInfo=socket={folder}/munge.socket
StateSaveLocation={folder}/state
SlurmctldPidFile={folder}/controller.pid
SlurmctldLogFile={folder}/controller.log
SlurmdSpoolDir={folder}/spool.%n
SlurmdPidFile={folder}/%n.pid
SlurmdLogFile={folder}/%n.log
ProctrackType=proctrack/linuxproc
TaskPlugin=task/none
SelectType=select/cons_tres
SelectTypeParameters=CR_CPU
JobAcctGatherType=jobacct_gather/none
SwitchType=switch/none
MpiDefault=none
SlurmdParameters=config_overrides
ReturnToService=2
SlurmdTimeout=5
SlurmctldTimeout=10
KillWait=10
MinJobAge=2
MaxArraySize=41
SchedulerParameters=requeue_setup_env_fail,sched_interval=1,bf_interval=2
NodeName=node1 NodeHostname={host} NodeAddr=127.0.0.1 Port={ports[1]} CPUs=2
NodeName=node2 NodeHostname={host} NodeAddr=127.0.0.1 Port={ports[2]} CPUs=2
PartitionName=check Nodes=ALL Default=YES State=UP MaxTime=INFINITE
"""


class Cluster:
    def __init__(self, folder):
        self.folder = pathlib.Path(folder)
        self.folder.mkdir(mode=0o755)
        for name in ("state", "spool.node1", "spool.node2"):
            (self.folder / name).mkdir()
        path = self.folder / "slurm.conf"
        path.write_text(CONFIGURATION.format(folder=self.folder, host=socket.gethostname(),
                                             ports=free_ports(3)), encoding="ascii")
        self.environment = {**os.environ, "SLURM_CONF": str(path)}
        self._running = {}
        self._start_munge()
        self.start_controller()
        for node in ("node1", "node2"):
            self.start_node(node)
        wait_for("the nodes", lambda: self._nodes().count("idle") == 2)

    def _start(self, name, *command):
        with open(self.folder / f"{name}.out", "ab") as log:
            self._running[name] = subprocess.Popen(
                command, env=self.environment, stdout=log, stderr=log, stdin=subprocess.DEVNULL,
                start_new_session=True)

    def _start_munge(self):
        key = self.folder / "munge.key"
        key.write_bytes(os.urandom(1024))
        key.chmod(0o400)
        self._start("munge", "munged", "--foreground", "--force", f"--key-file={key}",
                    f"--socket={self.folder}/munge.socket", f"--pid-file={self.folder}/munge.pid",
                    f"--log-file={self.folder}/munge.log", f"--seed-file={self.folder}/munge.seed")
        wait_for("munge", (self.folder / "munge.socket").exists)

    def start_controller(self):
        self._start("controller", "slurmctld", "-D")

    def start_node(self, node):
        self._start(node, "slurmd", "-D", "-N", node)

    def _nodes(self):
        done = subprocess.run(["sinfo", "--noheader", "--Node", "--format=%t"], text=True,
                              env=self.environment, capture_output=True)
        return done.stdout.split()

    def stop(self, name):
        process = self._running.pop(name)
        process.terminate()
        process.wait(30)

    def kill_node(self, node):
        """With all that runs on it, as a power failure does."""
        process = self._running.pop(node)
        process.kill()
        process.wait()
        for path in pathlib.Path("/proc").glob("[0-9]*/environ"):
            try:
                content = path.read_bytes()
            except OSError:
                continue
            if f"SLURMD_NODENAME={node}\0".encode() in content and \
                    str(self.folder).encode() in content:
                with_signal(int(path.parent.name))
        for path in pathlib.Path("/proc").glob("[0-9]*/cmdline"):
            try:
                words = path.read_bytes().split(b"\0")
            except OSError:
                continue
            # Its keepers of jobs, which outlive it otherwise.
            if words[0].startswith(b"slurmstepd") and self._is_keeper_of(node, path.parent):
                with_signal(int(path.parent.name))

    def _is_keeper_of(self, node, process):
        try:
            return any(os.readlink(link).startswith(str(self.folder / f"{node}.log"))
                       for link in (process / "fd").iterdir())
        except OSError:
            return False

    def close(self):
        for name in reversed(list(self._running)):
            try:
                self.stop(name)
            except subprocess.TimeoutExpired:
                os.killpg(self._running[name].pid, signal.SIGKILL)


def with_signal(process):
    try:
        os.kill(process, signal.SIGKILL)
    except ProcessLookupError:
        pass
