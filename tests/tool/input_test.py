"""Tests the tool's command line, its JSON-RPC requests and its input lines. No test waits for a link."""

import gzip
import json
import os
import pathlib
import re
import subprocess
import tempfile
import unittest

from peer import IDENTIFIERS
from tool import QUARN, run

LIMIT = 1024 * 1024  # bytes of a request line
DEEP = LIMIT // 2
TEXTS = pathlib.Path(__file__).parents[2] / "docs/texts.md"
RECORDING = pathlib.Path(__file__).parents[1] / "data/recordings/called-1a.jsonl"


def request(method, params=None, **members):
    body = {"jsonrpc": "2.0", "id": 1, "method": method, **members}
    return json.dumps(body if params is None else {**body, "params": params})


class Requests(unittest.TestCase):
    ROWS = [  # line, error code or result
        ("", -32700),
        ('{"jsonrpc":"2.0","id":1,"method":"Uscita"', -32700),
        ('"\xff"', -32700),
        ("[" * LIMIT, -32700),
        (" " * (LIMIT - 2) + "{}", -32600),
        ('"' + "x" * LIMIT, -32600),  # longer, so that it is not even read
        *[(f'{{"a":{value}}}', -32700) for value in
          ("01", "-", "-true", "1.", "1e", ".5", "+1", "tru", "'a'", '"\t"', '"\\x"', '"\\u12g4"', '"\\ud800"',
           '"\\udc00"', '"\\ud800\\u0041"', "[1,]", "[1 2]", "{", "[}", '{"a"}', '{"a":1,}', "1}", "")],
        *[(f'{{"a":{value}}}', -32600) for value in
          ("-0.5e+10", "0", "1E-2", '"\\ud83d\\ude00"', '"\\"\\/\\b"', "[]", '[{"a":[{}, 1]}, "]"]', " null ")],
        ("[" * DEEP + "]" * DEEP, -32600),
        ('{"id":1,"x":' + "[" * 100_000 + "]" * 100_000 + "}", -32600),
        ("[" + request("Uscita") + "]", -32600),
        ('{"id":1,"method":"Uscita"}', -32600),
        (request(5), -32600),
        (request("Uscita", id=[1]), -32600),
        (request("uscita"), -32601),
        (request("Init", ["a", "b"]), -32602),
        (request("Init"), -32602),
        (request("Init", {"s": "a"}), -32602),
        (request("Init", ["/t/\u0100\U0001f600"]), None),
        (request("Invia", [1, "\u0100"]), -32602),
        ('{"jsonrpc":"2.0","id":1,"method":"Init","params":[' + '{"a":' * 100_000 + "1" + "}" * 100_000 + "]}", -32602),
        (request("Init", list(range(100_000))), -32602),
        (request("Connesso", [32768]), -32602),
        (request("Connesso", [2**64 - 1]), -32602),
        (request("Connesso", [1.0]), -32602),
        (request("Connesso", [True]), -32602),
        (request("Add", ["T", 5, 1, True]), -32602),
        (request("Connesso", [-32768]), True),
        (request("Init", ["/no/such/place/"]), None),
        (request("AttivaLog"), 76),
        (request("Add", ["T" * 1_000_000, 5, True, True]), 1),
        (request("Add", ["\u00ff\u0000", 5, True, False]), 2),
        (request("MessaggioArrivato", [1]), False),
        (request("GetMessaggioArrivato", [0]), ""),
        (request("ProntoPerUscire", []), -1),
        (request("snapshot", [0]), None),
        (request("send", [7, "AB"]), {"number": 0, "refusal": "unknown-link"}),
        (request("pending", [7]), []),
        (request("outages", [7]), []),
        (request("nextEvent"), None),
        (request("enableEvents", [7, True]), 5),
        (request("drainAndClose", [7, 1]), 5),
        (request("drainAndClose", [1, 32768]), -32602),
        (request("encodeText", ["|" * 800]), None),
        (request("checkText", ["A|B"]), {"rule": "separator", "position": 1, "alone": True, "never": False,
                                         "warning": '"|" separates texts: none of its 2 pieces arrive'}),
    ]

    def test_each_request_line_gets_its_result_or_error(self):
        lines = "\n".join(line for line, _ in self.ROWS)  # the last line has no line end
        result = run("rpc", text=lines.encode("latin-1"))
        answers = [json.loads(line) for line in result.stdout.splitlines()]
        self.assertEqual((0, len(self.ROWS)), (result.returncode, len(answers)))
        for (line, expected), answer in zip(self.ROWS, answers):
            with self.subTest(line[:80]):
                self.assertEqual("2.0", answer["jsonrpc"])
                got = answer["error"]["code"] if "error" in answer else answer["result"]
                self.assertEqual((type(expected), expected), (type(got), got))

    def test_texts_are_encoded_as_in_the_document(self):
        python, vectors = re.search(r"```python\n(.*?)```.*```json\n(.*?)```", TEXTS.read_text(), re.DOTALL).groups()
        given = {"re": re}
        exec(python, given)
        vectors = json.loads(vectors)
        rows = [*(("encode", *row) for row in vectors["encoded"]),
                *(("decode", *row) for row in [*vectors["decoded"], *(reversed(row) for row in vectors["encoded"])])]
        lines = "\n".join(request(f"{function}Text", [text]) for function, text, _ in rows)
        answers = run("rpc", text=lines.encode()).stdout.splitlines()
        for (function, text, expected), answer in zip(rows, answers, strict=True):
            with self.subTest(function=function, text=text):
                self.assertEqual(expected, json.loads(answer)["result"])
                own = given[function](text.encode("latin-1"))
                self.assertEqual(expected, None if own is None else own.decode("latin-1"))

    def test_the_methods_are_described(self):
        described = json.loads(run("rpc", text=request("rpc.discover").encode()).stdout)["result"]["methods"]
        shown = run("rpc", "--help").stdout.decode()
        wrong = "\n".join(request(method["name"], [{}] * (len(method["params"]) + 1)) for method in described)
        self.assertEqual(len(described), run("rpc", text=wrong.encode()).stdout.count(b'"code":-32602'))
        for method in described:
            names = ", ".join(parameter["name"] for parameter in method["params"])
            self.assertIn(f"\n  {method['name']}({names}): ", shown)

    def test_ids_return_as_they_were_sent(self):
        ids = [b"123456789012345678901234567890", b"1.0", b"1e3", b"-0", b"null", rb'"\u0061\/\ud83d\ude00"',
               '"\u00e8\u0001f600"'.replace("\u0001f600", "\U0001f600").encode(), b'"' + b"i" * 100_000 + b'"']
        lines = b"".join(b'{ "id" : %s , "jsonrpc":"2.0","\\u006dethod":"ProntoPerUscire"}\n' % i for i in ids)
        answers = run("rpc", text=lines).stdout.splitlines()
        self.assertEqual([b'{"jsonrpc":"2.0","id":%s,"result":-1}' % i for i in ids], answers)

    def test_the_prefix_of_the_log_is_a_path_in_unicode(self):
        with tempfile.TemporaryDirectory() as directory:
            prefix = os.path.join(directory, "registro-\u00e8-\u65e5\u672c-\U0001f600-")
            for ascii_only in (True, False):
                lines = [json.dumps({"jsonrpc": "2.0", "id": 1, "method": method, "params": params},
                                    ensure_ascii=ascii_only) for method, params in
                         (("Init", [prefix]), ("AttivaLog", []), ("DisattivaLog", [0]))]
                result = run("rpc", text="\n".join(lines).encode())
                self.assertEqual(3, result.stdout.count(b'"result":null'), result)
                files = os.listdir(directory)
                self.assertTrue(len(files) == 1 and os.path.join(directory, files[0]).startswith(prefix), files)
                os.remove(os.path.join(directory, files[0]))

    def test_a_subscriber_receives_events(self):
        calls = [("Add", ["T", 5, True, False]), ("Add", ["T", 5, False, False]), ("enableEvents", [1, True]),
                 ("subscribe", [True]), ("send", [1, "HELLO"])]
        lines = run("rpc", text="\n".join(request(*call) for call in calls).encode()).stdout.splitlines()
        events = [event for line in lines if (event := json.loads(line)).get("method") == "event"]
        self.assertEqual([("receipts", "acknowledged")],
                         [(event["params"]["type"], event["params"]["receipt"]["outcome"]) for event in events])

    def test_requests_without_id_are_executed_and_not_answered(self):
        silent = json.dumps({"jsonrpc": "2.0", "method": "Add", "params": ["T", 1, True, False]})
        result = run("rpc", text=f"{silent}\n{request('Add', ['T', 1, True, False], id='x')}\n".encode())
        self.assertEqual(b'{"jsonrpc":"2.0","id":"x","result":2}\n', result.stdout)

    def test_all_answers_to_a_burst_reach_a_slow_reader(self):
        burst = "".join(request("Connesso", [1], id=i) + "\n" for i in range(50_000))
        process = subprocess.Popen(f"{QUARN} rpc | (sleep 1; cat)", shell=True, stdin=subprocess.PIPE,
                                   stdout=subprocess.PIPE)
        answers = process.communicate(burst.encode())[0].splitlines()
        self.assertEqual(list(range(50_000)), [json.loads(answer)["id"] for answer in answers])


class Lines(unittest.TestCase):
    ROWS = [  # line, part of the warning about it ("" = no warning)
        (b"HELLO", b""),
        (b"", b"an empty text is not sent"),
        (b"ab|c|de|fg", b"2 of its 4 pieces arrive"),
        (b"a\x03b", b"not sent: ETX"),
        (b"9own", b"other peers may not pass it on"),
        (b"9ACK", b"not sent, unless --allow-words is given: this is a word of the protocol"),
        (b"AB|9K", b"not sent, unless --allow-words"),
        (b"VUOTABUFFER", b"not sent, unless --allow-words"),
        (b"T" * 32750, b""),
        (b"T" * 32751, b"do not fit into one message"),
        (b"T" * 2_000_000, b"far too long"),
    ]

    def test_lines_that_would_change_on_the_way_are_reported_by_number(self):
        text = b"\n".join(line for line, _ in self.ROWS)
        result = run("call", "TEST", str(next(IDENTIFIERS)), "--wait", "0", text=text)
        self.assertEqual(10, result.returncode)
        self.assertRegex(result.stderr, rb"not done \(status 10, link-never-up\): 0 lines acknowledged, 4 lines dropped, "
                         rb"7 lines not sent, 0 texts received\n$")
        for number, (_, words) in enumerate(self.ROWS, 1):
            warnings = [line for line in result.stderr.splitlines() if b" line %d: " % number in line]
            with self.subTest(number=number):
                self.assertEqual(bool(words), bool(warnings), warnings)
                self.assertIn(words, b"".join(warnings))

    def test_repeated_warnings_are_grouped(self):
        text = b"\n" * 500 + b"9ACK\nHELLO\n9QRY\n9XYZ\n9ACK\n"
        messages = run("call", "VARDI", str(next(IDENTIFIERS)), "--wait", "0", "--timeout", "1", text=text).stderr
        for words in (b'"VARDI" is none of the named types; did you mean VARDO (20303)?', b"--wait 0 is shorter than",
                      b" line 1: an empty", b" lines 2 to 500: an empty", b" line 501: not sent, ",
                      b" 2 lines from 503 to 505: not sent, "):
            self.assertIn(words, messages)

    def test_lines_that_were_read_and_not_sent_count_as_dropped(self):
        result = run("call", "TEST", str(next(IDENTIFIERS)), "--timeout", "1", text=b"HELLO\n" * 300)
        self.assertRegex(result.stderr, b"lines 201 to 300: not sent\n(?s:.)*lines 1 to 200: not sent\n(?s:.)* 300 lines dropped")

    def test_a_session_without_input_ends_at_once(self):
        result = run("listen", "TEST", str(next(IDENTIFIERS)))
        self.assertEqual(0, result.returncode)
        self.assertIn(b"the input is empty; --receive-only receives without input", result.stderr)


class CommandLine(unittest.TestCase):
    ROWS = [  # arguments, exit status, part of standard output, part of standard error
        ("", 2, "", "A subcommand is required"),
        ("bogus", 2, "", '"bogus" is no command or option'),
        ("bogus\x1b[2J", 2, "", '"bogus\\x1B[2J" is no command'),
        ("replay /no\x1b[2J\u009b", 2, "", "/no\\x1B[2J\\xC2\\x9B: cannot be opened"),
        ("listen ABC", 2, "", "ID is required"),
        ("listen ABC 32768", 2, "", '"32768" is not an identifier'),
        ("call ABC five", 2, "", '"five" is not an identifier; give a whole number from 0 to 999'),
        ("listen ABC 1000", 2, "", "use 0 to 999"),
        ("listen ABC 5 --listen-on 1.2.3", 2, "", '"1.2.3" is not an address, four numbers with dots'),
        ("listen --allow 192.0.2.1 --allow 1.2.3.256 ABC 5", 2, "", '"1.2.3.256" is not an address'),
        ("call ABC 5 --allow 192.0.2.1", 2, "", "--allow"),
        ("call ABC 5 --wait -1", 2, "", "--wait"),
        ("call ABC 5 --bogus", 2, "", "--bogus"),
        ("call ABC 12668", 2, "", "use an identifier of at most 12667"),
        ("call ABC 5 --log /no/such/place/", 2, "", "Path not found (76)"),
        ("call ABC 5 --record /no/such/place/file", 2, "", "Path not found (76)"),
        ("listen ABC 5", 2, "", "closed or /dev/null, so there is nothing to send; use --receive-only"),
        ("call ABC 5 --timeout 0", 2, "", "--timeout"),
        ("call ABC 5 --count 0", 2, "", "--count"),
        ("call ABC 5 --count 18446744073709551616", 2, "", "--count"),
        ("rpc --record /", 2, "", "Path/File access error (75)"),
        ("shrink /dev/null", 2, "", "cannot be read twice; give a regular file"),
        (f"shrink {RECORDING}", 1, "", "nothing to shrink"),
        (f"shrink {RECORDING} --output {RECORDING}", 2, "", "is the recording itself"),
        *[(f"simulate {arguments}", 2, "", words) for arguments, words in (
            ("", "--seed is required"),
            ("--seed", "--seed: 1 required S missing"),
            ("--seed -1", '"-1": give a whole number from 0 to 18446744073709551615'),
            ("--seed 1 --hours 0", '--hours "0": give a whole number from 1 to 100000'),
            ("--seed 1 --links 32768", '--links "32768": give a whole number from 1 to 32767'),
            ("--seed 1 --faults bogus", '--faults "bogus": give all, large, none, generation-N, or some of delay,'),
            ("--seed 1 --faults all,", '--faults ""'),
            ("--seed 1 --jobs 257", '--jobs "257": give a whole number from 1 to 256'),
            ("--seed 1 --link-hours=", '--link-hours'),
            ("--seed 1 --record /proc", '--record "/proc": give a directory that you can create or write to'),
            ("--seed 1 --record /dev/null", '--record "/dev/null"'),
            ("--seed 1 --record /tmp --seeds 2", "leave out --seeds"),
        )],
        ("ports", 0, "PID-TOLV-VIDEO    20306\n", ""),
        ("ports MIRTAN 5", 0, "20308\n", ""),
        ("ports mirtam 5", 0, "20105\n", "did you mean MIRTAN (20308)?"),
        ("ports TOLV_VIDEO 5", 0, "20105\n", "did you mean TOLV-VIDEO (20307)?"),
        ("ports ABC -5", 0, "20095\n", "use 0 to 999"),
        ("ports MIRTAN 12668", 1, "", "use an identifier of at most 12667"),
        ("ports ABC -20100", 1, "", "use an identifier of at least -20099"),
        ("ports ABC", 2, "", "ID"),
        ("--version", 0, "quarn ", ""),
        ("completion csh", 2, "", 'SHELL "csh": give one of bash, zsh, fish'),
        ("manual bogus", 2, "", 'COMMAND "bogus" is no command'),
        ("manual listen", 0, "\\fB\\-\\-wait\\fR \\fISECONDS\\fR", ""),
        ("manual", 0, ".BR quarn\\-replay (1)", ""),
        *[(f"{command} --help", 0, "Examples:", "")
          for command in ("listen", "call", "rpc", "ports", "replay", "shrink", "simulate", "completion", "manual")],
    ]

    def test_arguments_get_their_exit_status_and_output(self):
        for arguments, status, output, error in self.ROWS:
            with self.subTest(arguments):
                result = run(*arguments.split(), text=None)
                self.assertEqual(status, result.returncode)
                self.assertIn(output, result.stdout.decode())
                self.assertIn(error, result.stderr.decode())
                self.assertEqual(status == 0, bool(result.stdout))
                if status == 2:
                    self.assertEqual(1, result.stderr.count(b"\n"), result.stderr)

    def test_each_exit_status_has_one_name(self):
        """Statuses from 126 to 165 belong to shells and signals."""
        shown = run("listen", "--help").stdout.decode()
        statuses = re.findall(r"^  (\d+) +(?:([a-z-]+): |a second signal)", shown, re.M)
        manual = run("manual", "call").stdout.decode().replace("\\-", "-")
        self.assertEqual(statuses, re.findall(r"^\\fB(\d+)\\fR\n(?:([a-z-]+): |a second signal)", manual, re.M))
        self.assertEqual(["129", "130", "143"], [number for number, name in statuses if not name])
        document = (pathlib.Path(__file__).parents[2] / "docs/operations.md").read_text()
        self.assertEqual(statuses[:-3], re.findall(r"^\| (\d+) \| `([a-z-]+)` \|", document, re.M))
        named = {int(number): name for number, name in statuses if name}
        self.assertEqual(len(statuses) - 3, len(set(named.values())))
        self.assertLess(max(named), 126)

    def test_the_environment_enables_recordings_that_replay_also_compressed_and_damaged(self):
        with tempfile.TemporaryDirectory() as directory:
            for folder, error in ((directory, b""), (directory, b""), (f"{directory}/none", b"none\" (QUARNEX_RECORD_DIR): Path")):
                result = run("rpc", text=request("Init", ["x"]).encode(), QUARNEX_RECORD_DIR=folder)
                self.assertEqual((0, b'{"jsonrpc":"2.0","id":1,"result":null}\n'), (result.returncode, result.stdout))
                self.assertIn(error, result.stderr)
            files = [f"{directory}/{name}" for name in os.listdir(directory)]
            self.assertEqual(2, len(files))
            for file in files:
                with gzip.open(file) as text:
                    self.assertIn(b'"call":"Init","params":["x"]', text.read())
            self.assertEqual(2, run("replay", *files).stdout.count(b": no difference: 1 step"))
            with open(files[0], "ab") as end:
                end.write(b"rubbish")
            result = run("replay", files[0])
            self.assertIn(b"no difference before the damaged line: 1 step", result.stdout)
            self.assertIn(b"line 4: cannot be read: damaged in its compressed form", result.stderr)

    def test_sessions_without_a_link_end_with_the_status_of_the_cause(self):
        rows = {"call TEST {id} --message 9K": "20, text-refused", "call TEST {id} </": "40, input",
                "listen TEST {id} --record {folder}/recording": "42, files",  # no file may have a byte
                "listen TEST {id} --receive-only --timeout 1": "10, link-never-up"}
        for arguments, status in rows.items():
            with self.subTest(arguments), tempfile.TemporaryDirectory() as folder:
                arguments = arguments.format(id=next(IDENTIFIERS), folder=folder)
                result = subprocess.run(f"ulimit -f 0; {QUARN} {arguments}", shell=True, input=b"", capture_output=True)
                self.assertEqual(int(status.split(",")[0]), result.returncode)
                self.assertRegex(result.stderr.decode(), rf" not done \(status {status}\): 0 lines .*\n$")

    def test_lost_output_has_an_exit_status_of_its_own(self):
        for arguments in ("ports", f"replay {RECORDING}", "replay /dev/null"):
            with self.subTest(arguments), open("/dev/full", "wb") as full:
                status = subprocess.run([QUARN, *arguments.split()], stdout=full, stderr=subprocess.DEVNULL).returncode
                self.assertEqual(2 if "null" in arguments else 3, status)
        for command in ("ports", f"listen TEST {next(IDENTIFIERS)} --receive-only"):
            self.assertEqual(3, subprocess.run(f"{QUARN} {command} 2>/dev/null >&-", shell=True).returncode)

    def test_bash_completes_commands_types_and_options(self):
        rows = {"li": "listen", "call MI": "MIRTAN", "call ABC 5 --tr": "--trace", "call ABC 5 --wait 1": "",
                "completion zs": "zsh", "manual sh": "shrink"}
        for typed, completed in rows.items():
            words = ["quarn", *typed.split()]
            script = (f"source <({QUARN} completion bash); COMP_WORDS=({' '.join(words)}); "
                      f"COMP_CWORD={len(words) - 1}; _quarn; echo ${{COMPREPLY[*]}}")
            with self.subTest(typed):
                shown = subprocess.run(["bash", "-c", script], capture_output=True, check=True).stdout
                self.assertEqual(completed, shown.decode().strip())


if __name__ == "__main__":
    unittest.main()
