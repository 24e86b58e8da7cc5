"""The session that docs/sync.md works through, held with the tool: what it says there is what the tool sends, and what the
host says there does what the document tells.

    worked_session.py ROOT TELLIRA WORK
"""
import pathlib
import re
import shutil
import socket
import struct
import subprocess
import sys
import threading


def session(root):
    """The document's frames, in turn: (whether the device says it, its bytes)."""
    text = (pathlib.Path(root) / "docs/sync.md").read_text()
    steps = []
    for block in re.findall(r"^```hex\n(.*?)^```", text, re.S | re.M):
        for line in block.splitlines():
            said, data = line[0], bytes.fromhex(line[2:].split("   ")[0])
            if said == " ":
                steps[-1] = (steps[-1][0], steps[-1][1] + data)
            else:
                steps.append((said == ">", data))
    return steps


def without_memory_report(request):
    """It tells of the program, not of the protocol."""
    if request[5:6] != b"\1":
        return request
    return request[:1] + re.sub(rb"malloc-free=.*?\0", b"\0", request[3:], flags=re.S)


def received(device):
    header = device.recv(3, socket.MSG_WAITALL)
    length = struct.unpack("<H", header[1:])[0] if len(header) == 3 else 0
    return header + device.recv(length, socket.MSG_WAITALL)


def play(listener, steps, said):
    device = listener.accept()[0]
    device.settimeout(20)
    for from_device, data in steps:
        if from_device:
            said.append(received(device))
        else:
            device.sendall(data)
    device.close()


def hold(tellira, directory, steps, said):
    listener = socket.create_server(("127.0.0.1", 0))
    host = threading.Thread(target=play, args=(listener, steps, said), daemon=True)
    host.start()
    status = subprocess.run([tellira, "sync", "--dir", directory, "--host", "127.0.0.1", "--port",
                             str(listener.getsockname()[1]), "--device", "PDV-001", "--group", "LOJA", "--plain"],
                            stdout=subprocess.PIPE, stderr=subprocess.PIPE).returncode
    host.join(20)
    return status


def main(root, tellira, work):
    shutil.rmtree(work, ignore_errors=True)
    pathlib.Path(work).mkdir(parents=True)

    def db(*words, rows=""):
        return subprocess.run([tellira, "db", "--dir", work, *words], input=rows, text=True, check=True,
                              stdout=subprocess.PIPE).stdout

    db("create", "VRN_TBL", "TBL_NAME:C:30", "TBL_TYPE:C:1", "TBL_KEY:C:30")
    db("import", "VRN_TBL", "-", rows="TBL_NAME,TBL_TYPE\nGOODS,P\n")
    db("create", "VRN_IND", "TBL_NAME:C:30", "IND_NAME:C:30", "IND_ORDER:N:4", "KEY_ORDER:N:4", "COL_NAME:C:20")
    db("import", "VRN_IND", "-", rows="TBL_NAME,IND_NAME,IND_ORDER,KEY_ORDER,COL_NAME\nGOODS,BYCODE,1,1,CODE\n")
    db("create", "GOODS", "CODE:C:8", "NAME:C:20", "PRICE:N:8:2", "SINCE:D")
    db("index", "create", "GOODS", "BYCODE", "CODE")
    db("import", "GOODS", "-", rows="CODE,NAME,PRICE,SINCE\n0001,Aspirina,9.90,2026-03-17\n")
    db("create", "OLD", "A:C:1")

    steps, said = session(root), []
    assert hold(tellira, work, steps, said) == 0
    shown = [data for from_device, data in steps if from_device]
    assert list(map(without_memory_report, said)) == list(map(without_memory_report, shown)), (said, shown)
    assert db("export", "GOODS", "--deleted").splitlines()[1:] == [
        "0001,Aspirina,9.90,2026-03-17,true", "0002,Dipirona água,4.50,2026-03-17,false"]
    assert "\nOLD " not in db("list") and (pathlib.Path(work) / "logo.bmp").read_bytes() == b"BM\6\0\0\0"

    words = (pathlib.Path(root) / "src/sync/code_words.cpp").read_text()
    page = (pathlib.Path(root) / "docs/sync.md").read_text()
    for code in re.findall(r"\{(\d{4}), SyncText", words):
        assert re.search(rf"^\|[^|]*\b{code}\b", page, re.M), f"docs/sync.md does not tell what {code} means"

    # A host that has no tasks and so no catalogue tables for a new device: the line is well, the session is not.
    empty = pathlib.Path(work) / "empty"
    empty.mkdir()
    assert hold(tellira, empty, steps[:3] + [(False, b"\0\5\1\0\r0\0"), steps[-1]], []) == 1


if __name__ == "__main__":
    main(*sys.argv[1:])
