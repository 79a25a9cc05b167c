#!/usr/bin/env python3
"""The device's page in a real browser, and what others get of it: web_test.py [FILE to leave a picture in]"""
import base64, errno, json, os, re, signal, socket, subprocess, sys, tempfile, time, urllib.error, urllib.request

os.chdir(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
START = """. tools/setup.sh; . tools/device.sh; record=build/device/web_test
    build release tarrow_modules cfgdb_cmd stat_server tarrow_host tarrow_trace tarrow_web && serve_device 0"""
SCRIPT = """return (async () => {
    const find = (selector) => document.querySelector(selector), named = (id) => document.getElementById(id);
    const until = async (test) => { for (let tries = 1500; !test(); await new Promise((go) => setTimeout(go, 20)))
        if (!tries--) throw new Error(`still not: ${test}; it says: ${named("message").textContent}`); };
    const says = (text) => until(() => named("message").textContent.includes(text));
    const show = async (name) => { location.hash = name; await until(() => named("name").textContent === name &&
        named("read-xml").value.startsWith(`<${name}`) && !named("read").disabled); };
    const press = (id, text) => { named("message").textContent = ""; named(id).click(); return says(text); };
    const fill = (id, value) => {
        Object.assign(named(id), { value }).dispatchEvent(new Event("input", { bubbles: true })); };
    const value = (path) => named(`ask ${path}`).closest("tr").querySelector(".value").textContent;
    const read = async (path) => { await press("read", "answered in"); return value(path); };
    const ran = (which) => [...document.querySelectorAll(".waterfall")[which]?.querySelectorAll(".command code") ?? []]
        .map((row) => row.textContent);
    %s })()"""
CONTROL, ENTER, ESCAPE = "\ue009", "\ue007", "\ue00c"
MARKUP = "<img src=x onerror=document.title='run'>"
failures, started, session = [], [], None
scratch = tempfile.TemporaryDirectory(ignore_cleanup_errors=True) # for the browser, which leaves things behind


def expect(name, wanted, got):
    if wanted != got:
        failures.append(f"{name}: wanted {wanted!r}, got {got!r}")


def start(command, pattern):
    """Starts a command and reads on to the line that says where it listens."""
    started.append(subprocess.Popen(command, stdout=subprocess.PIPE, text=True))
    return next(filter(None, (re.search(pattern, line) for line in started[-1].stdout)))[1]


def call(url, body=None, method=None, **headers):
    """A call's answer, or the status with which it is refused."""
    try:
        return urllib.request.urlopen(urllib.request.Request(url, body, headers, method=method)).read()
    except urllib.error.HTTPError as error:
        return error.code


def running(pattern):
    return subprocess.run(["pgrep", "-f", pattern], capture_output=True, text=True).stdout.split()


def left():
    """The server's processes, and this machine's mounts."""
    return running(os.getcwd() + "/build/release/tarrow_web"), open("/proc/mounts").read()


def in_device(script):
    [server] = set(left()[0]) - set(before[0])
    device = open(f"/proc/{server}/cmdline").read().split("\0")[3]
    subprocess.run(["device/boot", "--enter", device, "sh", "-c", script], check=True)


def drive(path, **body):
    try:
        return json.load(urllib.request.urlopen(session + path, json.dumps(body).encode()))["value"]
    except urllib.error.HTTPError as error:
        raise RuntimeError(json.load(error)["value"]["message"]) from error


def browse(script):
    return drive("/execute/sync", script=SCRIPT % script, args=[])


def type_keys(*keys):
    drive("/actions", actions=[{"type": "key", "id": "keys", "actions": [
        {"type": kind, "value": key} for kind in ("keyDown", "keyUp") for key in keys]}])


before = left()
try:
    address = start(["env", "-u", "TARROW_GROUP", "--default-signal=INT,QUIT", "bash", "-c", START], r"(http.*/)$")
    driver = ["env", f"TMPDIR={scratch.name}", f"HOME={scratch.name}", "chromedriver", "--port=0"]
    session = f"http://127.0.0.1:{start(driver, r'on port ([0-9]+)[.]')}/session"
    arguments = ["--headless=new", "--no-sandbox", "--disable-dev-shm-usage", "--window-size=1280,1000"]
    session += "/" + drive("", capabilities={"alwaysMatch": {
        "goog:chromeOptions": {"args": arguments}, "timeouts": {"script": 300000},
        "goog:loggingPrefs": {"browser": "ALL"}}})["sessionId"]
    drive("/url", url=address)
    browse('await until(() => find("nav a")); await show("wan")')
    expect("the state of the connection", "connected", browse('return read("wan_conn_status")'))
    expect("its address", "10.64.1.2", browse('return value("ip4")'))
    commands = browse("return ran(0)")
    expect("what it ran", "/usr/app/get_wan_interface.sh", commands[0])
    browse('named("device").open = true; await press("run 0", "cable ccinet0 pull: done")')
    browse('await until(() => find("[data-kinds=cable]").textContent.includes("ccinet0 pulled"))')
    expect("wan without its cable", "disconnected", browse('return read("wan_conn_status")'))
    expect("beside it, what the one before ran", commands, browse("return ran(1)"))
    browse('fill("read-xml", "<wan><proto>dhcp</proto></wan>")')
    expect("a text typed into a read", "cellular", browse('return read("proto")'))

    expect("a fresh module cannot be written", True, browse('await show("lan"); return named("write").disabled'))
    written = "<lan>\n  <ip>192.168.1.9</ip>\n</lan>"
    browse('fill("new ip", "192.168.1.9")')
    expect("a change alone is written", written, browse('return named("write-xml").value'))
    drive("/refresh")
    expect("after a reload", written, browse('await says("Read lan"); return named("write-xml").value'))
    browse('named("write").focus(); await press("write", "Write lan")')
    expect("what was written", "192.168.1.9", browse('return read("ip")'))
    expect("what was not", "255.255.255.0", browse('return value("mask")'))
    browse('named("use fixed_leases 1").focus()')
    type_keys(ENTER)
    expect("the focus after Delete", "Undo", browse("return document.activeElement.textContent"))
    browse("""named("use fixed_leases record").click();
        fill("new fixed_leases new 1 mac", "02:00:00:00:00:07"); await press("write", "Write lan"); await read("ip")""")
    expect("a record is deleted, one added", ["02:00:00:00:00:07", "02:00:00:00:01:66"], browse("""
        const { rows } = named("use fixed_leases record").previousSibling.tBodies[0];
        return [...rows].map((row) => row.cells[0].textContent)"""))
    browse(f'await show("wlan_settings"); fill("new ssid", "{MARKUP}"); await press("write", "Write wlan_settings")')
    expect("a network whose name is markup", MARKUP, browse('return read("ssid")'))
    expect("it makes no element", 0, browse("return document.images.length"))
    expect("and runs nothing", "wlan_settings - Device", browse("return document.title"))
    browse('location.hash = "reboot"; await until(() => named("name").textContent === "reboot")')
    expect("reboot is not read unasked", False, browse('return named("read").disabled'))

    browse("""await show("diagnostic"); fill("new command", "ping"); fill("new arg", "10.64.1.147");
        named("write").focus(); named("write").click(); await until(() => ran(0).length)""")
    expect("it goes on beside another module", "Stop diagnostic",
           browse('await show("lan"); return find("#running button").textContent'))
    browse('await show("lan"); named("read-xml").focus()')
    type_keys(CONTROL, ENTER)
    browse("""await says("Read lan"); location.hash = "diagnostic";
        await until(() => named("new arg")); named("read-xml").focus()""")
    type_keys(ESCAPE)
    browse('await says("stopped")')
    expect("the focus after Escape", "read-xml", browse("return document.activeElement.id"))
    while running("^ping .*10.64.1.147"):
        time.sleep(0.1) # it is on its way to its end

    in_device("seq -f 'line %.0f' 3000 | busybox logger; sleep 0.2")
    browse('named("log").open = true; await until(() => find("#log pre").textContent.endsWith(" 3000\\n"))')
    first = browse('return find("#log pre").textContent').split("\n", 1)[0]
    expect("the first line kept of a burst in the log", "2001", first.split()[-1])
    expect("what the browser complains of", [], drive("/se/log", type="browser"))
    in_device(r'cfgdb_cmd set wlan_settings ssid "$(printf "a\001b")"')
    browse('await show("wlan_settings"); await press("read", "answered in")')
    expect("an answer that is not XML", 2, len(browse("return document.body.innerText").split("not well-formed")))
    origin = {"Origin": address.rsplit("/", 2)[0]}
    for path, body, headers, status in (
            ("run", b"calls\0", {}, 403), ("run", b"calls\0", {"Origin": "http://localhost:1"}, 403),
            ("state", None, {"Host": "other"}, 403), ("state", None, {"Sec-Fetch-Site": "cross-site"}, 403),
            ("run", b"sh\0", origin, 403), ("run", b"hook\0", origin, 403), ("run", b"wlan\0", origin, 403),
            ("get/lan", b"x" * 65537, origin, 413), ("docs/nonsense", None, {}, 404)):
        expect(f"{path} with {headers}", status, call(address + path, body, **headers))
    expect("without the token", 403, call(origin["Origin"] + "/state"))
    expect("another method", 405, call(address + "state", method="PUT", **origin))
    if len(sys.argv) > 1:
        drive("/window/rect", width=1280, height=1200)
        browse("""await show("wan"); const action = find("#device label:nth-of-type(2) select"); action.value = "plug";
            action.form.oninput(); await press("run 0", "plug: done"); named("log").open = named("device").open = false;
            named("all").click(); await read("ip4"); await read("ip4")""")
        open(sys.argv[1], "wb").write(base64.b64decode(json.loads(call(session + "/screenshot"))["value"]))
finally:
    if session:
        call(session, method="DELETE")
    for process, end in zip(started, (signal.SIGINT, signal.SIGTERM)):
        process.send_signal(end)
        process.wait()
expect("the end by Ctrl-C", -signal.SIGINT, started[0].returncode)
expect("what is left", before, left())
port = int(address.split(":")[2].split("/")[0])
expect("its socket", errno.ECONNREFUSED, socket.socket().connect_ex(("127.0.0.1", port)))
sys.exit("\n".join(failures) or None)
