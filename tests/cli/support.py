"""What the tests of the program share: running it, and having OpenSSL make certificates for it.

The environment variable SEALKIT is the command that starts the program (words split at blanks, so
that it may be an emulator with its arguments).
"""
import fcntl
import json
import os
import pathlib
import pty
import resource
import select
import shlex
import shutil
import signal
import subprocess
import tempfile
import termios
import time
import unittest
import urllib.parse

import jsonschema

PROGRAM = os.environ["SEALKIT"].split()
EMULATED = PROGRAM[0].startswith("qemu")
HAS_RC2 = b"arctwo" in pathlib.Path(PROGRAM[-1]).read_bytes()  # Built with Nettle.
SANITIZED = b"__asan_init" in pathlib.Path(PROGRAM[-1]).read_bytes()

SCHEMA = json.loads((pathlib.Path(__file__).resolve().parents[2] / "share/sealkit.schema.json").read_text())
CHECKERS = {}

CA = "basicConstraints=critical,CA:TRUE\nkeyUsage=critical,keyCertSign,cRLSign\n"
KEY_IDS = "subjectKeyIdentifier=hash\nauthorityKeyIdentifier=keyid\n"
LEAF = "basicConstraints=CA:FALSE\nkeyUsage=critical,digitalSignature\nextendedKeyUsage=serverAuth\n"


class Result:
    def __init__(self, process):
        self.status = process.returncode
        self.out = process.stdout.decode("utf-8", "surrogateescape")
        self.err = process.stderr.decode("utf-8", "surrogateescape")

    @property
    def json(self):
        """The document that it wrote. The schema is kept, or the test would have failed before."""
        return json.loads(self.out)

    @property
    def objects(self):
        """What `show --json` found."""
        return self.json["objects"]

    @property
    def lines(self):
        """The documents of which it wrote one a line."""
        return [json.loads(line) for line in self.out.splitlines()]

    def __repr__(self):
        return f"status {self.status}\n--- out\n{self.out}\n--- err\n{self.err}"


def schema_of(command):
    """The checker of a command's documents."""
    if command not in CHECKERS:
        definitions = SCHEMA["$defs"]
        if command not in definitions:
            raise AssertionError(f'share/sealkit.schema.json knows no documents of "{command}"')
        CHECKERS[command] = jsonschema.Draft202012Validator({**SCHEMA, "anyOf": [{"$ref": "#/$defs/" + urllib.parse.quote(command)}]})
    return CHECKERS[command]


def check_document(text):
    """Whether a JSON document is one that the schema has; tells where not."""
    document = json.loads(text)
    unanswered = document.get("verdict") == "UNREADABLE" and document["command"] != "verify --each"
    error = jsonschema.exceptions.best_match(schema_of("unanswered" if unanswered else document["command"]).iter_errors(document))
    if error and not schema_of("unanswered").is_valid(document):
        raise AssertionError(f"{error.message}\nat {error.json_path}\nof {text[:20000]}")


def some(cases):
    """The cases; every third of them where an emulator starts the program, which takes long, and where what they
    ask for does not depend on the processor."""
    return list(cases)[::3] if EMULATED else list(cases)


def peer(*command, **options):
    """What another program writes on its standard output. It must be there and succeed."""
    options.setdefault("stdin", subprocess.DEVNULL)
    if "input" in options:
        del options["stdin"]
    process = subprocess.run([*map(str, command)], capture_output=True, check=False, **options)
    if process.returncode:
        raise AssertionError(f"{command}: {process.stdout.decode()} {process.stderr.decode()}")
    return process.stdout


def openssl(*arguments, **options):
    return peer("openssl", *arguments, **options)


def element(tag, *contents):
    """DER of any length, for what no tool would make."""
    content = b"".join(contents)
    length = len(content).to_bytes((len(content).bit_length() + 7) // 8, "big")
    return bytes([tag]) + (bytes([len(content)]) if len(content) < 128 else bytes([0x80 | len(length)]) + length) + content


def elements(der):
    """The elements within the first one of some DER, each as a whole."""
    def content_of(whole):
        if whole[1] < 0x80:
            return 2, 2 + whole[1]
        start = 2 + (whole[1] & 0x7F)
        return start, start + int.from_bytes(whole[2:start], "big")
    start, end = content_of(der)
    found = []
    while start < end:
        length = content_of(der[start:end])[1]
        found.append(der[start:start + length])
        start += length
    return found


def identifier(dotted):
    first, second, *rest = map(int, dotted.split("."))
    content = bytes([first * 40 + second])
    for arc in rest:
        digits = [arc & 127]
        while arc := arc >> 7:
            digits.insert(0, 128 | (arc & 127))
        content += bytes(digits)
    return element(0x06, content)


def heed_signals():
    """In a process that is about to start the program: a shell that runs the tests in the background has these signals
    ignored, for its children too."""
    for number in (signal.SIGHUP, signal.SIGINT, signal.SIGQUIT):
        signal.signal(number, signal.SIG_DFL)


class TerminalSession:
    """The program with a terminal of its own, which its questions and progress go to: /dev/tty and standard error."""

    def __init__(self, test, arguments, stdin=subprocess.DEVNULL):
        self.test = test
        self.screen, self.terminal = pty.openpty()
        self.process = subprocess.Popen(
            [*PROGRAM, *map(str, arguments)], stdin=stdin, stdout=subprocess.PIPE, stderr=self.terminal,
            cwd=test.dir, env=test.environment, start_new_session=True,
            preexec_fn=self.take_terminal)
        self.shown = b""

    def take_terminal(self):
        heed_signals()
        fcntl.ioctl(self.terminal, termios.TIOCSCTTY, 0)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        if self.process.poll() is None:
            self.process.kill()
            self.process.wait()
        self.process.stdout.close()
        os.close(self.screen)
        os.close(self.terminal)

    def wait_for(self, text):
        """Waits until TEXT is new on the screen."""
        start, end = len(self.shown), time.monotonic() + 60
        while text not in self.shown[start:]:
            self.test.assertLess(time.monotonic(), end, self.shown)
            if select.select([self.screen], [], [], 0.1)[0]:
                self.shown += os.read(self.screen, 65536)
            elif self.process.poll() is not None:
                self.test.fail(f"ended with {self.process.returncode} before {text}: {self.shown}")

    def type(self, text):
        os.write(self.screen, text)

    def echoes(self):
        return bool(termios.tcgetattr(self.terminal)[3] & termios.ECHO)

    def end(self):
        """Its status and standard output, after the end of its input. What else it showed is in `shown`."""
        out, _ = self.process.communicate(timeout=60)
        status = self.process.returncode
        while select.select([self.screen], [], [], 0)[0]:
            self.shown += os.read(self.screen, 65536)
        return status, out


class ProgramTest(unittest.TestCase):
    """A test with a scratch folder of its class."""

    @classmethod
    def setUpClass(cls):
        cls.dir = pathlib.Path(tempfile.mkdtemp(prefix="sealkit-test-"))
        cls.addClassCleanup(shutil.rmtree, cls.dir)
        cls.environment = {**os.environ, "KP_ROOT": str(cls.dir / "root"), "TZ": "UTC"}

    @classmethod
    def run_program(cls, *arguments, stdin=b"", environment=None):
        # In a session of its own: without a terminal, wherever the tests are started.
        result = Result(subprocess.run([*PROGRAM, *map(str, arguments)], input=stdin, capture_output=True, cwd=cls.dir,
                                       env={**cls.environment, **(environment or {})}, timeout=120, check=False,
                                       start_new_session=True))
        if "--each" in arguments:
            for line in result.out.splitlines():
                check_document(line)
        elif "--json" in arguments and result.status < 3:
            check_document(result.out if result.out.startswith("{") else result.err[result.err.index('{\n  "version"'):])
        return result

    def expect(self, status, *arguments, **options):
        result = self.run_program(*arguments, **options)
        self.assertEqual(result.status, status, f"{arguments}\n{result}")
        return result

    def on_terminal(self, *arguments, status=0, feed=None, variables=None):
        """What is on the screen when the program runs with a terminal as its output. FEED writes its input; VARIABLES are added to its
        environment."""
        screen, terminal = pty.openpty()
        process = subprocess.Popen([*PROGRAM, *arguments], stdin=subprocess.PIPE, stdout=terminal, stderr=terminal,
                                   cwd=self.dir, env=self.environment | (variables or {}))
        os.close(terminal)
        if feed:
            feed(process)
        process.stdin.close()
        shown = b""
        try:
            while piece := os.read(screen, 65536):
                shown += piece
        except OSError:
            pass  # So a terminal tells that nobody writes to it any more.
        os.close(screen)
        self.assertEqual(process.wait(), status, shown)
        return shown

    def paste(self, lines, folder):
        """Pastes commands into a shell that knows the program as `sealkit`."""
        script = f'sealkit() {{ {" ".join(map(shlex.quote, PROGRAM))} "$@"; }}\n' + "\n".join(lines) + "\n"
        process = subprocess.run(["bash", "-e", "-o", "pipefail", "-c", script], cwd=folder, capture_output=True,
                                 env=self.environment, stdin=subprocess.DEVNULL, timeout=120, check=False)
        self.assertEqual(process.returncode, 0, f"{script}\n{process}")
        return process

    def run_examples(self, *verb):
        """Pastes the examples of a verb's help, in the folder `self.examples`, which is empty before."""
        text = self.expect(0, *verb, "--help").out
        lines = [line for line in text.partition("\nExamples:\n")[2].splitlines() if line.startswith("  ")]
        self.assertTrue(lines, text)
        self.examples = self.dir / "-".join(("examples", *verb))
        self.examples.mkdir()
        return self.paste(lines, self.examples)

    @classmethod
    def write(cls, name, content):
        path = cls.dir / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(content if isinstance(content, bytes) else content.encode())
        return path

    @classmethod
    def new_key(cls, name, kind="P-256"):
        options = {"RSA": ["-algorithm", "RSA", "-pkeyopt", "rsa_keygen_bits:2048"],
                   "RSA e=3": ["-algorithm", "RSA", "-pkeyopt", "rsa_keygen_bits:2048", "-pkeyopt", "rsa_keygen_pubexp:3"],
                   "Ed25519": ["-algorithm", "ED25519"]}
        path = cls.dir / f"{name}.key"
        openssl("genpkey", "-out", path,
                *options.get(kind, ["-algorithm", "EC", "-pkeyopt", f"ec_paramgen_curve:{kind}"]))
        return path

    @classmethod
    def issue(cls, name, issuer=None, extensions=LEAF, subject=None, kind="P-256", key=None, days=365, key_ids=KEY_IDS):
        """Makes NAME.key and NAME.pem, signed by ISSUER's (self-signed without)."""
        if key:
            key = cls.write(f"{name}.key", key.read_bytes())
        else:
            key = cls.new_key(name, kind)
        request, certificate = cls.dir / f"{name}.csr", cls.dir / f"{name}.pem"
        openssl("req", "-new", "-utf8", "-key", key, "-subj", subject or f"/O=Test/CN={name}", "-out", request)
        cls.write(f"{name}.ext", extensions + key_ids)
        signer = (["-CA", cls.dir / f"{issuer}.pem", "-CAkey", cls.dir / f"{issuer}.key", "-CAcreateserial"]
                  if issuer else ["-signkey", key])
        openssl("x509", "-req", "-in", request, "-extfile", cls.dir / f"{name}.ext", "-days", days, "-out", certificate,
                *signer)
        return certificate

    @classmethod
    def concatenate(cls, name, *parts):
        return cls.write(name, b"".join((cls.dir / f"{part}.pem").read_bytes() for part in parts))

    @classmethod
    def make_crl(cls, name, issuer, revoked=(), days=30, digest="sha256"):
        """Makes NAME.crl of ISSUER's, with the certificates REVOKED on it."""
        database = cls.write(f"{name}.index", "")
        config = cls.write(f"{name}.cnf", "[ca]\ndefault_ca=c\n[c]\n"
                           f"database={database}\ndefault_md={digest}\ncrl_extensions=x\n[x]\nauthorityKeyIdentifier=keyid\n")
        authority = ["-config", config, "-cert", cls.dir / f"{issuer}.pem", "-keyfile", cls.dir / f"{issuer}.key"]
        for certificate in revoked:
            openssl("ca", *authority, "-revoke", cls.dir / f"{certificate}.pem", "-crl_reason", "keyCompromise")
        openssl("ca", *authority, "-gencrl", "-crldays", days, "-out", cls.dir / f"{name}.crl")
        return cls.dir / f"{name}.crl"

    @classmethod
    def sign_by_hand(cls, name, type, content, *attributes, lists=b"", rest=b"", signers=1):
        """A message that the holder of NAME's RSA key signs, once or more often, with these signed attributes: each
        an identifier and values. CONTENT is the field of the content; REST comes behind the signature."""
        attributes = b"".join(element(0x30, identifier(dotted), element(0x31, *values)) for dotted, *values in attributes)
        signature = openssl("dgst", "-sha256", "-sign", cls.dir / f"{name}.key", input=element(0x31, attributes))
        certificate = openssl("x509", "-in", cls.dir / f"{name}.pem", "-outform", "DER")
        _, serial, _, issuer, *_ = elements(elements(certificate)[0])
        algorithm = element(0x30, identifier("2.16.840.1.101.3.4.2.1"), b"\5\0")
        signer = element(0x30, element(2, b"\1"), element(0x30, issuer, serial), algorithm, element(0xA0, attributes),
                         element(0x30, identifier("1.2.840.113549.1.1.1"), b"\5\0"), element(4, signature), rest)
        body = element(0x30, element(2, b"\1"), element(0x31, algorithm), element(0x30, identifier(type), content),
                       element(0xA0, certificate), lists, element(0x31, signer * signers))
        return element(0x30, identifier("1.2.840.113549.1.7.2"), element(0xA0, body))

    @staticmethod
    def processor_time(run):
        """The processor time in seconds of the programs that RUN runs."""
        def used():
            usage = resource.getrusage(resource.RUSAGE_CHILDREN)
            return usage.ru_utime + usage.ru_stime
        before = used()
        run()
        return used() - before

    def assertNoControls(self, text):
        bad = [c for c in text if (ord(c) < 32 and c != "\n") or 127 <= ord(c) < 160]
        self.assertEqual(bad, [], repr(text))
