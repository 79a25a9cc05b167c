#!/usr/bin/env python3
"""The device's page in a real browser, and what other pages get of it: web_test.py [FILE to leave a picture in]"""
import base64, errno, json, os, re, signal, socket, subprocess, sys, tempfile, time, urllib.error, urllib.request

os.chdir(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
START = """. tools/setup.sh; . tools/device.sh; record=build/device/web_test
    build release tarrow_modules cfgdb_cmd stat_server tarrow_host tarrow_trace tarrow_web && serve_device 0"""
SCRIPT = """return (async () => {
    const find = (selector) => document.querySelector(selector);
    const until = async (test) => { while (!test()) await new Promise((go) => setTimeout(go, 20)); };
    const press = (button, text) => { find(button).click(); return until(() => message.textContent.includes(text)); };
    const show = (name) => { location.hash = name; return until(() => find("#xml").value.startsWith(`<${name}`)); };
    const fill = (input, text) => Object.assign(find(input), { value: text }).dispatchEvent(
        new Event("input", { bubbles: true }));
    const read = async (...names) => { await press("[value=get]", "answered in");
        const rows = [...find("#answer tbody").rows].map((row) => [...row.cells].map((cell) => cell.textContent));
        return names.map((name) => Object.fromEntries(rows)[name]); };
    const ran = (which) => [...document.querySelectorAll(`.timeline:nth-child(${which}) .command`)]
        .map((row) => row.dataset.text);
    %s })()"""
MARKUP = "<img src=x onerror=document.title='run'>"
failures, started, session = [], [], None
scratch = tempfile.TemporaryDirectory(ignore_cleanup_errors=True) # for the browser, which leaves things behind


def expect(name, wanted, got):
    if wanted != got:
        failures.append(f"{name}: wanted {wanted!r}, got {got!r}")


def start(command, pattern):
    """Starts a command and reads on to the line that tells where it listens."""
    started.append(subprocess.Popen(command, stdout=subprocess.PIPE, text=True))
    return next(filter(None, (re.search(pattern, line) for line in started[-1].stdout)))[1]


def call(url, body=None, method=None, **headers):
    """A call's answer, or the status with which it is refused."""
    try:
        return urllib.request.urlopen(urllib.request.Request(url, body, headers, method=method)).read()
    except urllib.error.HTTPError as error:
        return error.code


def running(pattern):
    return subprocess.run(["pgrep", "-f", pattern], capture_output=True).stdout


def left():
    """The server's processes, and this machine's mounts."""
    return running("/project/build/release/tarrow_(web|trace)"), open("/proc/mounts").read()


def drive(path, **body):
    return json.loads(call(session + path, json.dumps(body).encode()))["value"]


def browse(script):
    return drive("/execute/sync", script=SCRIPT % script, args=[])


before = left()
try:
    address = start(["env", "-u", "TARROW_GROUP", "--default-signal=INT,QUIT", "bash", "-c", START], r"(http.*)/")
    driver = ["env", f"TMPDIR={scratch.name}", f"HOME={scratch.name}", "chromedriver", "--port=0"]
    session = f"http://127.0.0.1:{start(driver, r'on port ([0-9]+)[.]')}/session"
    arguments = ["--headless=new", "--no-sandbox", "--disable-dev-shm-usage", "--window-size=1280,1000"]
    session += "/" + drive("", capabilities={"alwaysMatch": {
        "goog:chromeOptions": {"args": arguments}, "timeouts": {"script": 300000},
        "goog:loggingPrefs": {"browser": "ALL"}}})["sessionId"]
    drive("/url", url=address + "/")
    browse('await until(() => find("nav a")); await show("wan")')
    read = 'return read("wan_conn_status", "ip4")'
    expect("wan", ["connected", "10.64.1.2"], browse(read))
    commands = browse("return ran(1)")
    expect("what it ran", ["/usr/app/get_wan_interface.sh", "/etc/init.d/get_wan_connection_status.sh ccinet0 1"],
           commands[1:3])
    browse('await press("#device form button", "cable ccinet0 pull: done")')
    expect("wan without its cable", ["disconnected", "0.0.0.0"], browse(read))
    expect("beside it, what the one before ran", commands, browse("return ran(2)"))
    browse(f'await show("wlan_settings"); fill("[name=ssid]", "{MARKUP}"); await press("[value=set]", "answered in")')
    expect("what a post ran", ["/etc/init.d/wlan_settings_pre_set.sh", "/etc/init.d/wlan_settings_post_set.sh"],
           browse('return ran(1).map((line) => line.split(" ")[0])'))
    expect("a network whose name is markup", [MARKUP, 0, "The device"], browse("""find("[type=reset]").click();
        return [...await read("ssid"), document.images.length, document.title]"""))
    browse("""await show("diagnostic"); fill("[name=command]", "ping"); fill("[name=arg]", "10.64.1.147");
        find("[value=set]").click(); await until(() => ran(1).length); await press("#stop", "stopped")""")
    while running("^ping .*10.64.1.147"):
        time.sleep(0.1) # it is on its way to its end
    expect("its own end", False, "transmitted" in browse('find("[type=reset]").click(); return read("output")')[0])
    expect("what the browser complains of", [], drive("/se/log", type="browser"))
    for path, body, headers, status in (
            ("/run", b"calls\0", {}, 403), ("/run", b"calls\0", {"Origin": "http://localhost:1"}, 403),
            ("/state", None, {"Host": "other"}, 403), ("/state", None, {"Sec-Fetch-Site": "cross-site"}, 403),
            ("/run", b"sh\0", {"Origin": address}, 403), ("/get/lan", b"x" * 65537, {"Origin": address}, 413)):
        expect(f"{path} with {headers}", status, call(address + path, body, **headers))
    if len(sys.argv) > 1:
        drive("/window/rect", width=1280, height=1180)
        browse("""await show("wan"); fill("#device label:nth-of-type(2) select", "plug");
            await press("#device form button", "plug: done");
            fill("#xml", "<wan>\\n  <wan_conn_status/>\\n  <ip4/>\\n  <dns1/>\\n</wan>"); await read(); await read()""")
        open(sys.argv[1], "wb").write(base64.b64decode(json.loads(call(session + "/screenshot"))["value"]))
finally:
    if session:
        call(session, method="DELETE")
    for process, end in zip(started, (signal.SIGINT, signal.SIGTERM)):
        process.send_signal(end)
        process.wait()
expect("the end by Ctrl-C", -signal.SIGINT, started[0].returncode)
expect("what is left", before, left())
expect("its socket", errno.ECONNREFUSED, socket.socket().connect_ex(("127.0.0.1", int(address.split(":")[2]))))
sys.exit("\n".join(failures) or None)
