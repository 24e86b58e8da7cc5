"""docs/formats/tellira-sync.lua under tshark: the worked session of docs/sync.md, what hosts may say beside, what nobody
should, and a session of the real programs where both are there.

    dissector_test.py ROOT WORK BIN

Exit status 77, not tested, where there is no tshark; with TELLIRA_NO_SKIP set that is a failure.
"""
import os
import pathlib
import shutil
import struct
import subprocess
import sys
import zlib

sys.dont_write_bytecode = True  # the tree stays as it is
import worked_session  # noqa: E402

ROOT, WORK, BIN = (pathlib.Path(word) for word in sys.argv[1:4])
sys.path.insert(0, str(ROOT / "scripts"))
import sync_recording  # noqa: E402

LOGIN = "> 420300 010001"  # a short one: nobody looks at it
COUNT, FETCH, TABLE, IMAGES = (f"> 420300 0100{code}" for code in ("07", "08", "0b", "20"))


def reply(data):
    return f"< {len(bytes.fromhex(data)) + 2:04x} 0100 {data}"


def packet(content, records, size=None):
    data = zlib.compress(content)
    head = struct.pack(">BBHHH", 12, 14, 10 + len(data), records, len(content) if size is None else size)
    return reply((head + data).hex())


SHORT, BAD_CONTENT = "The frame ends before its parts do", "The content is not made of its records"
MEMOS = b"\0\4A\0!\0\0\2hi\0\4B\0*\0\0\0"
# What is said, what each frame is taken for, what is complained of, and fields worth a look.
CASES = [
    ([LOGIN, reply("ff" + b"Dispositivo bloqueado.\0".hex())], ["Login", "Error: Dispositivo bloqueado."],
     {SHORT, "The host refuses"}, {"error": ["Dispositivo bloqueado."]}),
    (["> 4c0005 0001 08 3700", reply("0d0100 4700 00000102 54")],
     ["Fetch task 7", "Receive table G, 258 records"], set(), {"order": ["L"], "rows": ["258"], "type": ["T"]}),
    ([FETCH + "3100", reply("0d0a10 58"), FETCH + "3200", reply("0d1600 6100"), FETCH + "3300", reply("0d1e00 7a00"),
      FETCH + "3400", reply("0d6300 7100"), FETCH + "3500", reply("0b")],
     ["Fetch task 1", "Install", "Fetch task 2", "Install a", "Fetch task 3", "Nothing z", "Fetch task 4",
      "Unknown task 99 q", "Fetch task 5", "Error: "], {"The host refuses"}, {"task": ["10", "22", "30", "99"]}),
    ([COUNT, reply("313200")], ["How many tasks", "Tasks: 12"], set(), {"count": ["12"]}),
    ([TABLE, packet(MEMOS, 2), reply("ff00" + b"Sem acesso\0".hex())],
     ["Request table", "Packet, 2 records", "Error: Sem acesso"], {"The host refuses"},
     {"record": ["41002100", "42002a00"], "deleted": ["0", "1"], "memo": ["6869"]}),
    ([packet(b"\0\4A\0!\0", 1)], ["Packet, 1 record"], set(), {}),
    ([TABLE, packet(MEMOS, 3), packet(b"\0\4A\0", 1), reply("0c0e 000b 0001 0005 ff")],
     ["Request table", "Packet, 3 records", "Packet, 1 record", "Packet, 1 record"],
     {BAD_CONTENT, "The data cannot be inflated"}, {}),
    (["> 420e00 0100 0b 0c 000e 0d 0003 0001 000141", reply("ff")], ["Packet, 1 record", "Error: "],
     {"The host refuses"}, {"inflated": ["3"], "form": ["13"]}),
    ([IMAGES, reply("0d00 6100 0900 41"), reply("14")], ["Request images", "Image a, 9 bytes", "No more images"],
     {"The image has more bytes than the frame"}, {}),
    (["> 420200 0100", "< 0000", "< 0001 00", FETCH + "31", reply("0d01")],
     ["a request of nothing", "a reply of nothing", "A reply without a status", "Fetch task ",
      "Receive table , 0 records"], {SHORT}, {}),
    (["> 474554202f"], ["no frame"], {"This is no frame of a synchronisation"}, {}),
    (["> 42e22e" + "0100 07" + "00" * 11999, reply("0d" + "31" * 12000)], None,
     {"Longer than the 12000 bytes that a frame may have", SHORT}, {}),
]


def with_length(said):
    """A request's length is what its bytes are, unless the case is about that."""
    from_device, data = said[0] == ">", bytes.fromhex(said[1:])
    if from_device and len(data) < 100 and data[:1] == b"B":
        data = data[:1] + struct.pack("<H", len(data) - 3) + data[3:]
    return from_device, data


def record(path, connections, size):
    recording = sync_recording.Recording(path, clock=iter(range(10**6)).__next__)
    for steps in connections:
        connection = recording.connection()
        for from_device, data in steps:
            connection.say(from_device, data, size)
    recording.file.close()


def dissected(path):
    """For each connection its fields: the name's last part to all values in turn."""
    names = ["summary", "error", "order", "rows", "type", "task", "count", "record", "deleted", "memo", "inflated", "form",
             "name", "records", "device", "group", "zlib", "image"]
    words = ["tshark", "-n", "-2", "-X", f"lua_script:{ROOT}/docs/formats/tellira-sync.lua", "-r", path, "-Y",
             "tellira_sync", "-T", "fields", "-E", "aggregator=|", "-e", "tcp.stream", "-e", "_ws.expert.message"]
    for name in names:
        words += ["-e", "tellira_sync." + name]
    home = {**os.environ, "HOME": str(WORK), "XDG_CONFIG_HOME": str(WORK), "LC_ALL": "C.UTF-8"}
    done = subprocess.run(words, check=True, env=home, capture_output=True, text=True)
    assert "Lua" not in done.stderr and "Lua Error" not in done.stdout, done
    streams = {}
    for line in done.stdout.splitlines():
        stream, complaints, *values = line.split("\t")
        found = streams.setdefault(int(stream), {"complaints": set()})
        found["complaints"] |= set(complaints.split("|")) - {""}
        for name, value in zip(names, values):
            found.setdefault(name, []).extend(value.split("|") if value else [])
    return streams


def compare(what, found, wanted):
    assert found == wanted, f"{what}:\n  found  {found}\n  wanted {wanted}"


def the_worked_session():
    steps = worked_session.session(ROOT)
    wanted = ["Login", "Welcome, version 6.0.0", "How many tasks", "Tasks: 4", "Fetch task 1", "Send table GOODS",
              "Packet, 1 record", "Packet taken", "Fetch task 2", "Receive table GOODS, 2 records", "Request table",
              "Packet, 2 records", "End of table", "Fetch task 3", "Delete table OLD", "Fetch task 4", "Receive images",
              "Request images", "Image logo.bmp, 6 bytes", "No more images", "Farewell"]
    for size in (1, 7, 1400):
        record(WORK / "worked.pcap", [steps], size)
        found = dissected(WORK / "worked.pcap")[0]
        compare(f"the worked session in pieces of {size}", found["summary"], wanted)
        compare("its complaints", found["complaints"], set())
        compare("its login", found["device"] + found["group"] + found["zlib"], ["PDV-001", "LOJA", "ZLIBON"])
        compare("its names", found["name"], ["GOODS", "GOODS", "OLD", "logo.bmp"])
        compare("its marks", found["deleted"], ["0", "0", "1"])


def the_cases():
    record(WORK / "cases.pcap", [list(map(with_length, said)) for said, *_ in CASES], 1400)
    found = dissected(WORK / "cases.pcap")
    for number, (said, summaries, complaints, fields) in enumerate(CASES):
        if summaries is not None:
            compare(said, found[number]["summary"], summaries)
        compare(said, found[number]["complaints"], complaints)
        for name, values in fields.items():
            compare(f"{name} of {said}", found[number][name], values)


def the_real_programs():
    if not (BIN / "tellira-synchost").exists():
        return
    subprocess.run([ROOT / "scripts/sync-trial", BIN, WORK / "trial"], check=True)
    found = dissected(WORK / "trial/session.pcap")[0]
    compare("a session of the programs", found["complaints"], set())
    compare("its ends", found["summary"][::len(found["summary"]) - 1], ["Login", "Farewell"])
    compare("its records", found["records"], ["2", "2"])
    compare("its image", found["image"], [(WORK / "trial/logo.bmp").read_bytes().hex()])


if __name__ == "__main__":
    if not shutil.which("tshark"):
        print("not tested: docs/formats/tellira-sync.lua, since tshark is not here", file=sys.stderr)
        sys.exit(1 if os.environ.get("TELLIRA_NO_SKIP") else 77)
    shutil.rmtree(WORK, ignore_errors=True)
    WORK.mkdir(parents=True)
    the_worked_session()
    the_cases()
    the_real_programs()
