"""A NameNode and a DataNode, ours or Apache's, on a scratch directory."""
import os
import pathlib
import re
import secrets
import socket
import subprocess
import time

TREE = pathlib.Path(__file__).resolve().parents[2]
LOGGING = TREE / "namenode/src/main/resources/log4j.properties"
# What Hadoop's own scripts give a service.
HEAP = "-Xmx1000m"


def java():
    home = os.environ.get("JAVA_HOME")
    return f"{home}/bin/java" if home else "java"


def classpath():
    """Hadoop's jars, without anything of ours."""
    return (TREE / "build/namenode/classpath").read_text().strip()


def free_port():
    with socket.create_server(("127.0.0.1", 0)) as listener:
        return listener.getsockname()[1]


class Pair:
    """The two processes, after start(). Their files lie in `scratch`, the data of clients' files too."""

    def __init__(self, name, scratch):
        self.name = name
        self.scratch = scratch / name
        self.scratch.mkdir(mode=0o755)
        self.processes = []

    def launch(self, what, command):
        with open(self.log(what), "wb") as log:
            process = subprocess.Popen(command, stdout=log, stderr=log, cwd=self.scratch)
        self.processes.append(process)
        return process

    def log(self, what):
        return self.scratch / f"{what}.log"

    def told(self, what, pattern):
        """What a service says when it is ready."""
        for _ in range(600):
            found = re.search(pattern, self.log(what).read_text())
            if found:
                return found.group(1)
            if any(process.poll() is not None for process in self.processes):
                break
            time.sleep(0.1)
        raise RuntimeError(f"{what}: {self.log(what).read_text()}")

    def stop(self):
        for process in self.processes:
            process.kill()
            process.wait()

    def for_load(self):
        return f"{self.name}={self.uri}={self.datanode.pid}={self.namenode.pid}"


class Ours(Pair):
    def __init__(self, scratch):
        super().__init__("zorf", scratch)

    def start(self):
        (self.scratch / "root").mkdir()
        keys = self.scratch / "keys"
        keys.touch(mode=0o600)
        keys.write_text(f"1 {secrets.token_hex(32)}\n")
        self.datanode = self.launch("datanode", [TREE / "build/bin/zorf-datanode", "--root", "root",
                                                "--key", keys, "--port", "0"])
        address = self.told("datanode", r"listens at (\S+)")
        topology = self.scratch / "topology"
        topology.write_text("".join(f"{rack}{node} {address} /rack1\n"
                                    for rack in range(1, 5) for node in range(1, 7)))
        self.namenode = self.launch("namenode", [
            TREE / "namenode/dev", "run", "--root", self.scratch / "root", "--key", keys,
            "--topology", topology, "--port", "0", "--http-port", "off"])
        self.uri = self.told("namenode", r"(hdfs://\S+)")


class Apaches(Pair):
    def __init__(self, scratch):
        super().__init__("apache", scratch)

    def start(self):
        port = free_port()
        self.uri = f"hdfs://127.0.0.1:{port}"
        settings = {
            "fs.defaultFS": self.uri,
            "dfs.namenode.name.dir": f"file://{self.scratch}/name",
            "dfs.namenode.http-address": "127.0.0.1:0",
            "dfs.namenode.safemode.extension": "0",
            "dfs.datanode.data.dir": f"file://{self.scratch}/data",
            "dfs.datanode.address": "127.0.0.1:0",
            "dfs.datanode.http.address": "127.0.0.1:0",
            "dfs.datanode.ipc.address": "127.0.0.1:0",
            "dfs.replication": "1",
            "dfs.client.read.shortcircuit": "false",
            # Deleted blocks are removed sooner: the next measurement waits for that.
            "dfs.heartbeat.interval": "1",
            "dfs.namenode.redundancy.interval.seconds": "1",
        }
        options = [word for name, value in settings.items() for word in ("-D", f"{name}={value}")]
        hdfs = "org.apache.hadoop.hdfs.server"
        # Maven's jars come without the pages that the services want to show.
        for pages in ("hdfs", "datanode", "static"):
            (self.scratch / "pages/webapps" / pages).mkdir(parents=True)
        command = [java(), HEAP, f"-Dlog4j.configuration=file:{LOGGING}",
                   "-cp", f"{self.scratch}/pages:{classpath()}"]
        namenode = [*command, f"{hdfs}.namenode.NameNode", *options]
        with open(self.log("format"), "wb") as log:
            subprocess.run([*namenode, "-format"], stdout=log, stderr=log, check=True)
        self.namenode = self.launch("namenode", namenode)
        self.datanode = self.launch("datanode", [*command, f"{hdfs}.datanode.DataNode", *options])
        self.await_registration()

    def await_registration(self):
        while all(process.poll() is None for process in self.processes):
            report = hdfs(self.uri, "dfsadmin", "-report", stdout=subprocess.PIPE, check=False)
            if b"Live datanodes (1)" in report.stdout:
                return
            time.sleep(1)
        raise RuntimeError(self.log("namenode").read_text() + self.log("datanode").read_text())


def hdfs(uri, command, *arguments, **options):
    """Apache's command, as Hadoop's own script starts it."""
    options = {"stderr": subprocess.DEVNULL, "check": True, **options}
    return subprocess.run([TREE / "namenode/dev", "hdfs", command, "-fs", uri, *arguments], **options)
