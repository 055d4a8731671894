"""Made chains that the program judges by RFC 5280, and OpenSSL, GnuTLS and NSS beside it.

Each case is a chain that keeps or breaks one rule. Where a peer says something else, DIFFERENCES has the case, the peer
and the reason; a difference that is not listed fails, and so does a listed one that is gone.
"""
import base64
import concurrent.futures
import dataclasses
import subprocess
import unittest

from chains import *  # Each case is made of these.
from support import EMULATED, PROGRAM, ProgramTest, SANITIZED, peer

P1, P2, P3, ANY_POLICY = *(f"1.3.6.1.4.1.99999.2.{number}" for number in (1, 2, 3)), "2.5.29.32.0"


@dataclasses.dataclass
class Question:
    """A chain, the leaf first and without its root, and what is asked about it."""
    root: bytes
    chain: list
    crls: list = dataclasses.field(default_factory=list)
    host: str = ""
    ip: str = ""
    email: str = ""
    server: bool = False
    policies: tuple = ()
    is_policy_required: bool = False
    are_policies_checked: bool = False
    are_crls_checked: bool = False
    peers: tuple = ("openssl", "certtool")


def pem(label, der):
    return f"-----BEGIN {label}-----\n".encode() + base64.encodebytes(der) + f"-----END {label}-----\n".encode()


class Made:
    """All cases, by id."""

    def __init__(self, folder):
        self.keys = [Key(folder, number) for number in range(6)]
        self.folder = folder
        self.cases = {}
        self.root = self.ca("CN=Root")
        self.mid = self.ca("CN=Mid", self.root, 1)
        for group in (self.hosts, self.host_constraints, self.mail_constraints, self.uri_constraints, self.address_constraints,
                      self.directory_constraints, self.constraints_along_the_chain, self.path_lengths, self.key_usage, self.extended_key_usage,
                      self.policies, self.dates, self.forms, self.names, self.algorithms, self.crls):
            group()

    def ca(self, subject, issuer=None, key=0, extensions=(), length=None, flags=CERT_SIGN | CRL_SIGN, **options):
        return Entity(self.keys[key] if isinstance(key, int) else key, subject, issuer, [basic(length=length), usage(flags), *extensions], **options)

    def leaf(self, extensions=(), issuer=None, subject="C=XY, O=Org, CN=leaf", key=2, has_usage=True, has_name=True, **options):
        own = [basic(ca=False), *([usage(DIGITAL_SIGNATURE)] if has_usage else []), *extensions]
        if has_name and not any(identifier("2.5.29.17") in each for each in own):
            own.append(alternative(dns("leaf.test")))
        return Entity(self.keys[key] if isinstance(key, int) else key, subject, issuer or self.mid, own, **options)

    def add(self, case, *entities, root=None, **options):
        if case in self.cases:
            raise AssertionError(case)
        self.cases[case] = Question((root or self.root).der, [each.der if isinstance(each, Entity) else each for each in entities], **options)

    ALL = ("openssl", "certtool", "vfychain")

    # Identities.

    def hosts(self):
        for pattern in ("a.b.test", "A.B.Test", "*.b.test", "*.test", "*", "*.", "a*.b.test", "*a.b.test", "a.*.test", "*.*.test", "a.b.test."):
            leaf = self.leaf([alternative(dns(pattern))])
            for host in ("a.b.test", "b.test", "x.a.b.test", "A.b.TEST"):
                self.add(f"host/{pattern}/{host}", leaf, self.mid, host=host)
        common = self.leaf(subject="CN=a.b.test", has_name=False)
        self.add("host/common-name-alone", common, self.mid, host="a.b.test")
        beside = self.leaf([alternative(mail("u@b.test"))], subject="CN=a.b.test")
        self.add("host/common-name-beside-mail", beside, self.mid, host="a.b.test")
        self.add("host/common-name-beside-host", self.leaf([alternative(dns("c.test"))], subject="CN=a.b.test"), self.mid, host="a.b.test")
        several = self.leaf([alternative(dns("c.test"), dns("a.b.test"))])
        self.add("host/second-of-two", several, self.mid, host="a.b.test")
        at = self.leaf([alternative(address(10, 1, 2, 3), dns("10.1.2.4"))], subject="CN=10.1.2.5")
        for number in (3, 4, 5):
            self.add(f"address/10.1.2.{number}", at, self.mid, ip=f"10.1.2.{number}")
        six = self.leaf([alternative(address(*([0x20, 1, 0xD, 0xB8] + [0] * 11 + [1])))])
        for asked in ("2001:db8::1", "2001:db8::2"):
            self.add(f"address/{asked}", six, self.mid, ip=asked)
        letter = self.leaf([alternative(mail("User@B.test"))], subject="E=other@b.test, CN=c")
        for asked in ("User@B.test", "User@b.TEST", "user@b.test", "other@b.test", "x@b.test"):
            self.add(f"email/{asked}", letter, self.mid, email=asked)
        self.add("email/in-the-subject", self.leaf(subject="E=other@b.test, CN=c", has_name=False), self.mid, email="other@b.test")

    # Name constraints.

    def constrained(self, case, names, permitted=(), excluded=(), subject="CN=c", **options):
        mid = self.ca("CN=Mid", self.root, 1, [constraints(permitted, excluded)])
        self.add(case, self.leaf([alternative(*names)] if names else [], mid, subject=subject, has_name=False), mid, **options)

    def both_ways(self, case, form, rule, names, **options):
        for kept in names:
            self.constrained(f"{case}/permit {rule}/{kept}", [form(kept)], permitted=[form(rule)], **options)
            self.constrained(f"{case}/exclude {rule}/{kept}", [form(kept)], excluded=[form(rule)], **options)

    def host_constraints(self):
        for rule in ("b.test", ".b.test", "B.Test", "a.b.test"):
            self.both_ways("dns", dns, rule, ("b.test", "a.b.test", "ab.test", "x.a.b.test"), peers=self.ALL)
        for rule in ("b.test", "x.b.test", ""):
            self.both_ways("dns", dns, rule, ("A.B.TEST", "*.b.test"))

    def mail_constraints(self):
        for rule in ("b.test", ".b.test", "u@b.test", "B.TEST"):
            self.both_ways("mail", mail, rule, ("u@b.test", "U@b.test", "u@a.b.test", "u@B.test", "v@b.test"))
        for subject in ("E=u@b.test, CN=c", "E=u@c.test, CN=c"):
            self.constrained(f"mail/permit b.test/subject {subject}", [], [mail("b.test")], subject=subject)
            self.constrained(f"mail/exclude b.test/subject {subject}", [], (), [mail("b.test")], subject=subject)

    def uri_constraints(self):
        for rule in ("b.test", ".b.test"):
            self.both_ways("uri", uri, rule, ("http://b.test/", "http://a.b.test/x", "https://u@b.test:81/", "http://ab.test", "HTTP://B.TEST/",
                                              "urn:isbn:1", "http://10.0.0.1/"))

    def address_constraints(self):
        net, six = address(10, 0, 0, 0, 255, 0, 0, 0), address(*([0x20, 1] + [0] * 14 + [255, 255] + [0] * 14))
        for label, rule in (("10/8", net), ("2001::/16", six)):
            for kept, given in (("10.1.1.1", address(10, 1, 1, 1)), ("11.1.1.1", address(11, 1, 1, 1)), ("2001::", address(*([0x20, 1] + [0] * 14)))):
                self.constrained(f"ip/permit {label}/{kept}", [given], [rule])
                self.constrained(f"ip/exclude {label}/{kept}", [given], (), [rule])
        self.constrained("ip/permit with holes in the mask", [address(10, 1, 0, 1)], [address(10, 0, 0, 1, 255, 0, 0, 255)])
        self.constrained("ip/permit of five octets", [address(10, 1, 0, 1)], [address(10, 0, 0, 1, 255)])

    def directory_constraints(self):
        rule = directory("C=XY, O=Org")
        for label, subject in (("below", "C=XY, O=Org, CN=c"), ("same", "C=XY, O=Org"), ("upper case", "C=XY, O=ORG, CN=c"),
                               ("blanks", "C=XY, O= Org , CN=c"), ("other", "C=XY, O=Other, CN=c"), ("shorter", "C=XY"),
                               ("another order", "O=Org, C=XY, CN=c"), ("printable", name("C=XY, O=Org, CN=c", 19)), ("empty", "")):
            self.constrained(f"directory/permit/subject {label}", [dns("c.test")], [rule], subject=subject)
            self.constrained(f"directory/exclude/subject {label}", [dns("c.test")], (), [rule], subject=subject)
        for label, given in (("below", "C=XY, O=Org, CN=d"), ("other", "C=XY, O=Other")):
            self.constrained(f"directory/permit/alternative {label}", [directory(given)], [rule], subject="C=XY, O=Org, CN=c")
            self.constrained(f"directory/exclude/alternative {label}", [directory(given)], (), [rule], subject="C=XY, O=Third, CN=c")
        kinds = {"registered": registered("1.2.3.4"), "other": other("1.3.6.1.4.1.99999.3", "x")}
        for label, form in kinds.items():
            for given in (label, "host"):
                names = [form] if given == label else [dns("c.test")]
                self.constrained(f"kinds/permit {label}/{given}", names, [form])
                self.constrained(f"kinds/exclude {label}/{given}", names, (), [form])
        for given in ("c.test",):
            self.constrained(f"kinds/permit mail/{given}", [dns(given)], [mail("b.test")])
        self.constrained("kinds/no names under a permitted host", [], [dns("b.test")])
        self.constrained("kinds/common name under a permitted host", [], [dns("b.test")], subject="CN=c.test")
        self.constrained("kinds/common name under an excluded host", [], (), [dns("c.test")], subject="CN=c.test")

    def constraints_along_the_chain(self):
        def below(case, top, lower, given, **options):
            upper = self.ca("CN=Upper", self.root, 3, [constraints(*top)])
            mid = self.ca("CN=Mid", upper, 1, [constraints(*lower)] if lower else [])
            self.add(case, self.leaf([alternative(*given)], mid), mid, upper, **options)
        below("along/inherited, kept", ([dns("b.test")],), None, [dns("a.b.test")], peers=self.ALL)
        below("along/inherited, broken", ([dns("b.test")],), None, [dns("a.c.test")], peers=self.ALL)
        below("along/widened below", ([dns("b.test")],), ([dns("c.test")],), [dns("c.test")], peers=self.ALL)
        below("along/narrowed below, kept", ([dns("b.test")],), ([dns("a.b.test")],), [dns("a.b.test")], peers=self.ALL)
        below("along/narrowed below, broken", ([dns("b.test")],), ([dns("a.b.test")],), [dns("d.b.test")], peers=self.ALL)
        below("along/excluded below", ([dns("b.test")],), ((), [dns("a.b.test")]), [dns("a.b.test")], peers=self.ALL)
        below("along/second of two permitted", ([dns("b.test"), dns("c.test")],), None, [dns("c.test")], peers=self.ALL)
        below("along/second of two excluded", ((), [dns("b.test"), dns("c.test")]), None, [dns("c.test")], peers=self.ALL)
        below("along/one of two names", ([dns("b.test")],), None, [dns("b.test"), dns("c.test")], peers=self.ALL)
        below("along/excluded within permitted", ([dns("b.test")], [dns("a.b.test")]), None, [dns("x.a.b.test")], peers=self.ALL)
        top = self.ca("CN=Root", extensions=[constraints([dns("b.test")])])
        mid = self.ca("CN=Mid", top, 1)
        self.add("along/of the root", self.leaf([alternative(dns("c.test"))], mid), mid, root=top)
        for label, kept in (("kept", "O=Org, CN=Mid"), ("broken", "O=Other, CN=Mid")):
            upper = self.ca("O=Org, CN=Upper", self.root, 3, [constraints([directory("O=Org")])])
            mid = self.ca(kept, upper, 1)
            self.add(f"along/of a CA's subject, {label}", self.leaf(issuer=mid, subject="O=Org, CN=c"), mid, upper)
        upper = self.ca("O=Other, CN=Upper", self.root, 3, [constraints([directory("O=Org")])])
        self_issued = self.ca("O=Other, CN=Upper", upper, 1)
        self.add("along/self-issued CA is exempt", self.leaf(issuer=self_issued, subject="O=Org, CN=c"), self_issued, upper)
        last = self.leaf(issuer=upper, subject="O=Other, CN=Upper")
        self.add("along/self-issued leaf is not exempt", last, upper)

    # The path.

    def path_lengths(self):
        for length in (0, 1, 2):
            top = self.ca("CN=Upper", self.root, 3, length=length)
            line = [top]
            for depth in range(3):
                self.add(f"length/{length} above {depth}", self.leaf(issuer=line[0]), *line, peers=self.ALL)
                line.insert(0, self.ca(f"CN=CA {depth}", line[0], 4 + depth % 2))
        for length in (0, 1):
            top = self.ca("CN=Root", length=length)
            mid = self.ca("CN=Mid", top, 1)
            low = self.ca("CN=Low", mid, 3)
            self.add(f"length/root {length} above 1", self.leaf(issuer=mid), mid, root=top, peers=self.ALL)
            self.add(f"length/root {length} above 2", self.leaf(issuer=low), low, mid, root=top, peers=self.ALL)
        top = self.ca("CN=Upper", self.root, 3, length=0)
        twin = self.ca("CN=Upper", top, 1)
        low = self.ca("CN=Low", twin, 4)
        self.add("length/0 above a self-issued CA", self.leaf(issuer=twin), twin, top, peers=self.ALL)
        self.add("length/0 above a self-issued CA and another", self.leaf(issuer=low), low, twin, top, peers=self.ALL)
        end = Entity(self.keys[2], "CN=c", top, [basic(), usage(CERT_SIGN), alternative(dns("c.test"))])
        self.add("length/0 above a leaf that is a CA", end, top)

    def with_mid(self, case, extensions, leaf=(), ids=True, peers=None, root=None, **options):
        asked = {key: options.pop(key) for key in ("server", "host") if key in options}
        mid = Entity(self.keys[1], "CN=Mid", root or self.root, extensions, ids=ids, **options)
        self.add(case, self.leaf(leaf, mid), mid, peers=peers or self.ALL, root=root, **asked)

    def key_usage(self):
        for label, flags in (("certificates and CRLs", CERT_SIGN | CRL_SIGN), ("certificates", CERT_SIGN), ("CRLs", CRL_SIGN),
                             ("signatures", DIGITAL_SIGNATURE)):
            self.with_mid(f"usage/CA for {label}", [basic(), usage(flags)])
        self.with_mid("usage/CA without key usage", [basic()])
        self.with_mid("usage/CA for CRLs, not critical", [basic(), usage(CRL_SIGN, False)])
        self.add("usage/root for CRLs", self.leaf(issuer=(mid := self.ca("CN=Mid", top := self.ca("CN=Root", flags=CRL_SIGN), 1))), mid, root=top)
        for label, flags in (("signatures", DIGITAL_SIGNATURE), ("encipherment", ENCIPHER), ("agreement", AGREEMENT), ("certificates", CERT_SIGN),
                             ("CRLs", CRL_SIGN), ("data", DATA)):
            leaf = self.leaf([usage(flags), uses(SERVER)], has_usage=False)
            self.add(f"usage/server for {label}", leaf, self.mid, server=True)

    def extended_key_usage(self):
        kinds = {"none": [], "server": [uses(SERVER)], "client": [uses(CLIENT)], "any": [uses(ANY_USE)], "client and any": [uses(CLIENT, ANY_USE)],
                 "mail": [uses(MAIL)], "unknown": [uses(UNKNOWN)], "critical client": [uses(CLIENT, critical=True)]}
        for label, of_leaf in kinds.items():
            self.add(f"purpose/server by {label}", self.leaf(of_leaf), self.mid, server=True, peers=self.ALL)
        for label, of_mid in kinds.items():
            mid = self.ca("CN=Mid", self.root, 1, of_mid)
            self.add(f"purpose/server below {label}", self.leaf([uses(SERVER)], mid), mid, server=True, peers=self.ALL)
        self.add("purpose/nothing asked", self.leaf([uses(CODE)]), self.mid)
        for label in ("client", "server"):
            top = self.ca("CN=Root", extensions=kinds[label])
            mid = self.ca("CN=Mid", top, 1)
            self.add(f"purpose/root for {label}", self.leaf([uses(SERVER)], mid), mid, root=top, server=True)

    def policies(self):
        def ask(case, of_mid, of_leaf, wanted=(), required=False, line=()):
            upper = self.ca("CN=Upper", self.root, 3, line) if line else self.root
            mid = self.ca("CN=Mid", upper, 1, of_mid)
            above = [mid, upper] if line else [mid]
            self.add(case, self.leaf(of_leaf, mid), *above, policies=wanted, is_policy_required=required, are_policies_checked=True,
                     peers=("openssl",))
        held = [("none", []), ("P1", [policies(P1)]), ("P1 P2", [policies(P1, P2)]), ("any", [policies(ANY_POLICY)])]
        for above, of_mid in held:
            for below, of_leaf in held:
                ask(f"policy/{above} above {below}, explicit", of_mid, of_leaf, (), True)
            ask(f"policy/{above} above P2, P2 wanted", of_mid, [policies(P2)], (P2,), True)
        ask("policy/none asked", [], [])
        ask("policy/other, not explicit", [policies(P1)], [policies(P2)])
        ask("policy/wanted, not explicit", [policies(P1)], [policies(P1)], (P2,))
        mapped = [policies(P1), mappings((P1, P2))]
        ask("policy/mapped", mapped, [policies(P2)], (), True)
        ask("policy/mapped, P1 wanted", mapped, [policies(P2)], (P1,), True)
        ask("policy/mapped, P2 wanted", mapped, [policies(P2)], (P2,), True)
        ask("policy/mapped, but not used", mapped, [policies(P1)], (), True)
        ask("policy/mapped from any", [policies(P1), mappings((ANY_POLICY, P2))], [policies(P2)])
        ask("policy/mapped to any", [policies(P1), mappings((P1, ANY_POLICY))], [policies(P2)])
        ask("policy/mapped below any", [policies(ANY_POLICY), mappings((P1, P2))], [policies(P2)], (P1,), True)
        ask("policy/mapped twice", mapped, [policies(P3)], (), True, [policies(P3), mappings((P3, P1))])
        ask("policy/required at once, kept", [policies(P1), policy_constraints(0)], [policies(P1)])
        ask("policy/required at once, broken", [policies(P1), policy_constraints(0)], [policies(P2)])
        ask("policy/required after one, broken", [policies(P1), policy_constraints(1)], [policies(P2)])
        ask("policy/required after two", [policies(P1), policy_constraints(2)], [policies(P2)])
        ask("policy/required by the leaf", [policies(P1)], [policies(P2), policy_constraints(0)])
        ask("policy/mapping inhibited above", mapped, [policies(P2)], (), True, [policies(P1), policy_constraints(None, 0)])
        ask("policy/mapping inhibited after one", mapped, [policies(P2)], (), True, [policies(P1), policy_constraints(None, 1)])
        for after in (0, 1, 2):
            ask(f"policy/any inhibited after {after}", [policies(ANY_POLICY)], [policies(ANY_POLICY)], (), True, [policies(P1), inhibit_any(after)])
        ask("policy/the same policy twice", [policies(P1)], [policies(P1, P1)])
        ask("policy/empty constraints", [policies(P1), policy_constraints()], [policies(P1)])

    def dates(self):
        past, future = {"start": "20200101", "end": "20210101"}, {"start": "20380101", "end": "20400101"}
        for label, dates in (("past", past), ("future", future)):
            self.add(f"dates/leaf, {label}", self.leaf(**dates), self.mid, peers=self.ALL)
            mid = self.ca("CN=Mid", self.root, 1, **dates)
            self.add(f"dates/CA, {label}", self.leaf(issuer=mid), mid, peers=self.ALL)
            top = self.ca("CN=Root", **dates)
            mid = self.ca("CN=Mid", top, 1)
            self.add(f"dates/root, {label}", self.leaf(issuer=mid), mid, root=top)
        self.add("dates/generalized", self.leaf(end="20600101"), self.mid, peers=self.ALL)
        self.add("dates/end first", self.leaf(start="20380101", end="20210101"), self.mid, peers=self.ALL)
        self.add("dates/no end", self.leaf(end="99991231235959"), self.mid, peers=self.ALL)
        self.add("dates/leaf outlives CA", self.leaf(issuer=(mid := self.ca("CN=Mid", self.root, 1, end="20350101"))), mid, peers=self.ALL)

    def forms(self):
        self.with_mid("form/CA without basic constraints", [usage(CERT_SIGN)])
        self.with_mid("form/CA with cA false", [basic(ca=False), usage(CERT_SIGN)])
        self.with_mid("form/CA with basic constraints not critical", [basic(critical=False), usage(CERT_SIGN)])
        for critical in (False, True):
            unknown = extension(UNKNOWN, NULL, critical)
            self.with_mid(f"form/unknown extension of the CA, critical {critical}", [basic(), usage(CERT_SIGN), unknown])
            self.add(f"form/unknown extension of the leaf, critical {critical}", self.leaf([unknown]), self.mid, peers=self.ALL)
        self.add("form/leaf's signature broken", self.leaf(broken=True), self.mid, peers=self.ALL)
        self.with_mid("form/CA's signature broken", [basic(), usage(CERT_SIGN)], broken=True)
        stranger = self.ca("CN=Root", key=5)
        self.add("form/another root of the name", self.leaf(), self.mid, root=stranger, peers=self.ALL)
        self.add("form/no CA in between", self.leaf(), peers=self.ALL)
        self.add("form/certificates in another order", self.leaf(issuer=(low := self.ca("CN=Low", self.mid, 3))), self.mid, low)
        self.add("form/root as the leaf's issuer", self.leaf(issuer=self.root), peers=self.ALL)
        self.with_mid("form/CA without key identifiers", [basic(), usage(CERT_SIGN)], ids=False)
        self.add("form/leaf without key identifiers", self.leaf(ids=False), self.mid, peers=self.ALL)
        named = alternative(dns("c.test"))
        self.add("form/leaf without basic constraints", Entity(self.keys[2], "CN=c", self.mid, [named]), self.mid, peers=self.ALL)
        self.add("form/leaf without extensions", Entity(self.keys[2], "CN=c", self.mid, ids=False), self.mid)
        self.add("form/leaf of version 1", Entity(self.keys[2], "CN=c", self.mid, version=1), self.mid)
        old = Entity(self.keys[1], "CN=Mid", self.root, version=1)
        self.add("form/CA of version 1", self.leaf(issuer=old), old)
        top = Entity(self.keys[0], "CN=Root", version=1)
        mid = self.ca("CN=Mid", top, 1)
        self.add("form/root of version 1", self.leaf(issuer=mid), mid, root=top)
        self.add("form/serial number of 0", self.leaf(serial=0), self.mid)
        self.add("form/serial number of 21 octets", self.leaf(serial=1 << 162), self.mid)
        self.add("form/negative serial number", self.leaf(serial=-5), self.mid)
        self.add("form/extension twice", self.leaf([uses(SERVER), uses(SERVER)]), self.mid)
        self.add("form/path length in a leaf", Entity(self.keys[2], "CN=c", self.mid, [basic(ca=False, length=3), named]), self.mid)
        self.add("form/empty subject, names not critical", self.leaf(subject=""), self.mid)
        self.add("form/empty subject, names critical", self.leaf([alternative(dns("c.test"), critical=True)], subject=""), self.mid)
        self.add("form/leaf that may sign certificates", Entity(self.keys[2], "CN=c", self.mid, [basic(ca=False), usage(CERT_SIGN), named]),
                 self.mid)

    def names(self):
        for label, subject, issuer in (("case", "O=Org, CN=Mid", name("O=ORG, CN=mid")), ("blanks", "O=Org, CN=Mid", name("O= Org , CN=Mid")),
                                       ("inner blanks", "O=Org One, CN=Mid", name("O=Org  One, CN=Mid")),
                                       ("string", "O=Org, CN=Mid", name("O=Org, CN=Mid", 19)),
                                       ("another", "O=Org, CN=Mid", name("O=Org, CN=Other")), ("order", "O=Org, CN=Mid", name("CN=Mid, O=Org")),
                                       ("umlauts", "CN=Größe", name("CN=GRÖSSE")), ("Latin", "CN=Größe", name("CN=Größe", 20)),
                                       ("wide", "CN=Größe", name("CN=Größe", 30)),
                                       ("composed", "CN=\u00e9", name("CN=e\u0301"))):
            mid = self.ca(subject, self.root, 1)
            self.add(f"names/{label}", self.leaf(issuer=mid, issuer_name=issuer), mid)

    def algorithms(self):
        for algorithm in ("sha1", "sha224", "sha384", "sha512"):
            self.add(f"algorithm/ecdsa {algorithm}", self.leaf(algorithm=algorithm), self.mid, peers=self.ALL)
        kinds = {"rsa 2048": ("rsa", ("-algorithm", "RSA", "-pkeyopt", "rsa_keygen_bits:2048")),
                 "rsa 1024": ("rsa-short", ("-algorithm", "RSA", "-pkeyopt", "rsa_keygen_bits:1024")),
                 "rsa exponent 3": ("rsa-three", ("-algorithm", "RSA", "-pkeyopt", "rsa_keygen_bits:2048", "-pkeyopt", "rsa_keygen_pubexp:3")),
                 "p384": ("p384", ("-algorithm", "EC", "-pkeyopt", "ec_paramgen_curve:P-384")),
                 "p521": ("p521", ("-algorithm", "EC", "-pkeyopt", "ec_paramgen_curve:P-521")),
                 "ed25519": ("ed", ("-algorithm", "ED25519",))}
        for label, (stem, options) in kinds.items():
            key = FileKey(self.folder, stem, *options)
            mid = self.ca("CN=Mid", self.root, key)
            every = ["md5", "sha1", "sha256", "sha384", "sha512", "pss-sha256", "pss-sha384", "pss-sha512"]
            for algorithm in every if label == "rsa 2048" else ["sha256"]:
                self.add(f"algorithm/{label} {algorithm}", self.leaf(issuer=mid, algorithm=algorithm), mid, peers=self.ALL)
                if algorithm in ("sha256", "pss-sha256"):
                    self.add(f"algorithm/{label} {algorithm}, broken", self.leaf(issuer=mid, algorithm=algorithm, broken=True), mid, peers=self.ALL)

    # Revocation.

    def crls(self):
        clear = crl(self.root)
        peers = ("openssl",)

        def ask(case, lists, extensions=(), peers=peers, mid=None, serial=77, above=(), **options):
            issuer = mid or self.mid
            leaf = self.leaf(extensions, issuer, serial=serial)
            self.add(f"crl/{case}", leaf, issuer, *above, crls=[clear, *lists], are_crls_checked=True, peers=peers, **options)

        def ca_crl(*entries, **options):
            return crl(self.mid, [entry(*each) if isinstance(each, tuple) else each for each in entries], **options)

        mid, both = self.mid, ("openssl", "certtool")
        ask("clear", [ca_crl()], peers=both)
        ask("another is revoked", [ca_crl((78,))], peers=both)
        ask("revoked", [ca_crl((77,))], peers=both)
        for reason in (0, 1, 3, 4, 5, 6, 9, 10):
            ask(f"revoked, reason {reason}", [ca_crl((77, reason))], peers=both)
        ask("missing", [])
        self.add("crl/missing for the CA", self.leaf(serial=77), mid, crls=[ca_crl()], are_crls_checked=True, peers=peers)
        self.add("crl/CA revoked", self.leaf(serial=77), mid, crls=[crl(self.root, [entry(mid.serial)]), ca_crl()], are_crls_checked=True, peers=both)
        ask("out of date", [ca_crl(until="20250101")])
        ask("not yet valid", [ca_crl(this="20380101")])
        ask("no next update", [ca_crl(until=None)])
        ask("signature broken", [ca_crl(broken=True)])
        ask("signed by another key", [ca_crl(key=self.keys[5])])
        ask("without key identifier", [ca_crl(ids=False)])
        ask("of another issuer", [crl(self.root, issuer_name=mid.subject)])
        ask("older revokes, newer clears", [ca_crl((77,), this="20230101", number=1), ca_crl(number=2)])
        ask("newer revokes", [ca_crl(this="20230101", number=1), ca_crl((77,), number=2)])
        ask("revoked in the future", [ca_crl(entry(77, when="20380101"))])
        ask("unknown critical extension", [ca_crl(extensions=[extension(UNKNOWN, NULL, True)])])
        ask("unknown critical extension, revoked", [ca_crl((77,), extensions=[extension(UNKNOWN, NULL, True)])])
        ask("unknown extension", [ca_crl(extensions=[extension(UNKNOWN, NULL)])])
        ask("unknown critical extension of an entry", [ca_crl(entry(78, critical_unknown=True))])
        no_right = self.ca("CN=Mid", self.root, 1, flags=CERT_SIGN)
        ask("signer without right", [crl(no_right)], mid=no_right)
        here, there = full_name(uri("http://c.test/a.crl")), full_name(uri("http://c.test/b.crl"))
        ask("scope: users", [ca_crl(extensions=[scope(ONLY_USERS)])])
        ask("scope: CAs", [ca_crl(extensions=[scope(ONLY_CAS)])])
        ask("scope: attributes", [ca_crl(extensions=[scope(ONLY_ATTRIBUTES)])])
        ask("scope: point, certificate without", [ca_crl(extensions=[scope(here)])])
        ask("scope: point, the same", [ca_crl(extensions=[scope(here)])], [points((here,))])
        ask("scope: point, another", [ca_crl(extensions=[scope(there)])], [points((here,))])
        ask("scope: point, second", [ca_crl(extensions=[scope(there)])], [points((here,), (there,))])
        ask("scope: whole, certificate with a point", [ca_crl()], [points((here,))])
        some, rest = reasons(1, 2, 3), reasons(4, 5, 6, 7, 8)
        ask("reasons: some", [ca_crl(extensions=[scope(some)])])
        ask("reasons: in two", [ca_crl(extensions=[scope(some)]), ca_crl(extensions=[scope(rest)], number=2)])
        ask("reasons: in two, revoked in the first", [ca_crl((77, 1), extensions=[scope(some)]), ca_crl(extensions=[scope(rest)], number=2)])
        ask("reasons: in two, revoked in the second", [ca_crl(extensions=[scope(some)]), ca_crl((77, 4), extensions=[scope(rest)], number=2)])
        fresh = points((here,), dotted="2.5.29.46")  # OpenSSL looks for delta CRLs where a freshestCRL says that there are any.

        def deltas(case, *lists):
            ask(f"delta: {case}", lists, [fresh])
        deltas("revokes", ca_crl(number=1), ca_crl((77,), number=2, this="20240201", delta=1))
        deltas("removes", ca_crl((77, 6), number=1), ca_crl((77, 8), number=2, this="20240201", delta=1))
        deltas("keeps clear", ca_crl(number=1), ca_crl(number=2, this="20240201", delta=1))
        deltas("of a later base", ca_crl(number=1), ca_crl((77,), number=4, this="20240201", delta=3))
        deltas("older than its base", ca_crl(number=5), ca_crl((77,), number=4, delta=3))
        deltas("older than its base, removes", ca_crl((77, 6), number=5), ca_crl((77, 8), number=4, delta=3))
        deltas("alone", ca_crl(number=2, delta=1))
        indirect = self.ca("CN=Crls", self.root, 3, flags=CRL_SIGN)
        named = points((here, crl_issuer("CN=Crls")))
        for label, entries in (("clear", []), ("revoked", [entry(77, issuer="CN=Mid")]), ("of another CA", [entry(77, issuer="CN=Other")]),
                               ("of itself", [entry(77)])):
            leaf = self.leaf([named], mid, serial=77)
            self.add(f"crl/indirect: {label}", leaf, mid, indirect, are_crls_checked=True, peers=peers,
                     crls=[clear, crl(indirect, entries, [scope(here, INDIRECT)])])
        self.add("crl/indirect: not named by the certificate", self.leaf(serial=77), mid, indirect, are_crls_checked=True, peers=peers,
                 crls=[clear, crl(indirect, [], [scope(INDIRECT)])])
        self.add("crl/indirect: not marked", self.leaf([named], mid, serial=77), mid, indirect, are_crls_checked=True, peers=peers,
                 crls=[clear, crl(indirect, [], [scope(here)])])


# Who says something else about which case, and why: what the peer does. "Here" is this library under rfc5280.
DIFFERENCES = {
    "openssl": {
        "accepts an asterisk within a label, which RFC 9525 does not": [
            "host/a*.b.test/a.b.test", "host/a*.b.test/A.b.TEST", "host/*a.b.test/a.b.test", "host/*a.b.test/A.b.TEST"],
        "takes the common name for a host": [
            "host/common-name-alone", "host/common-name-beside-mail", "kinds/common name under a permitted host",
            "kinds/common name under an excluded host"],
        "takes an e-mail address of the subject": [
            "email/in-the-subject"],
        "compares a wildcard with an excluded host as text": [
            "dns/exclude x.b.test/*.b.test"],
        "takes the user that stands before the host for a part of it": [
            "uri/permit b.test/https://u@b.test:81/", "uri/exclude b.test/https://u@b.test:81/"],
        "does not refuse an address in the place of a host": [
            "uri/exclude b.test/http://10.0.0.1/", "uri/exclude .b.test/http://10.0.0.1/"],
        "applies a mask with holes bit by bit": [
            "ip/permit with holes in the mask"],
        "asks for the form that RFC 5280 asks of CAs, with -x509_strict; here the strict rules do": [
            "directory/permit/subject empty", "directory/exclude/subject empty", "usage/CA without key usage",
            "form/CA with basic constraints not critical", "form/CA without key identifiers",
            "form/leaf without key identifiers", "form/leaf without extensions", "form/path length in a leaf",
            "form/empty subject, names not critical", "form/leaf that may sign certificates"],
        "does not let any purpose stand for that of a server": [
            "purpose/server by any", "purpose/server by client and any", "purpose/server below any",
            "purpose/server below client and any"],
        "takes no certificate of version 1 for a CA, with -x509_strict, also where it is trusted": [
            "form/root of version 1"],
        "supports SHA-224, which nothing here verifies in certificates": [
            "algorithm/ecdsa sha224"],
        "takes a CRL without nextUpdate as current; RFC 5280 asks for it": [
            "crl/no next update"],
        "asks one CRL alone, the newest; here one that revokes decides": [
            "crl/older revokes, newer clears"],
        "ignores a delta CRL that does not fit its base; here it clears nothing, but may revoke": [
            "crl/delta: of a later base"],
    },
    "certtool": {
        "accepts an asterisk at the start of a longer label": [
            "host/*a.b.test/a.b.test", "host/*a.b.test/A.b.TEST"],
        "takes the common name for a host": [
            "host/common-name-alone", "host/common-name-beside-mail", "kinds/no names under a permitted host",
            "kinds/common name under a permitted host", "kinds/common name under an excluded host"],
        "compares the local part of an e-mail address without regard to case": [
            "email/user@b.test"],
        "takes an e-mail address of the subject": [
            "email/in-the-subject"],
        "compares a wildcard with an excluded host as text": [
            "dns/exclude x.b.test/*.b.test"],
        "does not compare URIs: each is within a permitted subtree of URIs, and within an excluded one": [
            "uri/permit b.test/http://a.b.test/x", "uri/exclude b.test/http://a.b.test/x", "uri/permit b.test/http://ab.test",
            "uri/exclude b.test/http://ab.test", "uri/permit b.test/urn:isbn:1", "uri/permit b.test/http://10.0.0.1/",
            "uri/permit .b.test/http://b.test/", "uri/exclude .b.test/http://b.test/",
            "uri/permit .b.test/https://u@b.test:81/", "uri/exclude .b.test/https://u@b.test:81/",
            "uri/permit .b.test/http://ab.test", "uri/exclude .b.test/http://ab.test", "uri/permit .b.test/HTTP://B.TEST/",
            "uri/exclude .b.test/HTTP://B.TEST/", "uri/permit .b.test/urn:isbn:1", "uri/permit .b.test/http://10.0.0.1/"],
        "keeps IPv4 and IPv6 apart, as if they were two types of names": [
            "ip/permit 10/8/2001::", "ip/permit 2001::/16/10.1.1.1", "ip/permit 2001::/16/11.1.1.1"],
        "does not compare directory names: each is within a permitted subtree of them, and within an excluded one": [
            "directory/permit/subject other", "directory/exclude/subject other", "directory/permit/subject shorter",
            "directory/exclude/subject shorter", "directory/permit/subject another order",
            "directory/exclude/subject another order", "directory/exclude/subject empty", "directory/permit/alternative other",
            "directory/exclude/alternative other", "along/of a CA's subject, broken", "along/self-issued leaf is not exempt"],
        "refuses critical constraints of types that it does not know, whether or not a name is of the type": [
            "kinds/permit registered/host", "kinds/exclude registered/host", "kinds/permit other/host",
            "kinds/exclude other/host"],
        "counts self-issued certificates in path lengths": [
            "length/0 above a self-issued CA"],
        "does not look at the key usage of the leaf": [
            "usage/server for certificates", "usage/server for CRLs", "usage/server for data"],
        "does not let any purpose in a CA stand for that of a server": [
            "purpose/server below any", "purpose/server below client and any"],
        "does not look at the extended key usage of a root": [
            "purpose/root for client"],
        "compares names octet by octet": [
            "names/case", "names/blanks", "names/inner blanks", "names/Latin"],
        "refuses MD5 and SHA-1 in signatures; here the strict rules do": [
            "algorithm/ecdsa sha1", "algorithm/rsa 2048 md5", "algorithm/rsa 2048 sha1"],
        "supports SHA-224, which nothing here verifies in certificates": [
            "algorithm/ecdsa sha224"],
    },
    "vfychain": {
        "does not let any purpose stand for that of a server": [
            "purpose/server by any", "purpose/server by client and any", "purpose/server below any"],
        "lets a CA for clients issue for servers": [
            "purpose/server below client", "purpose/server below critical client"],
        "supports SHA-224, which nothing here verifies in certificates": [
            "algorithm/ecdsa sha224"],
        "refuses MD5 in signatures; here the strict rules do": [
            "algorithm/rsa 2048 md5"],
        "does not support Ed25519": [
            "algorithm/ed25519 sha256"],
    },
}


class PeersTest(ProgramTest):
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.made = Made(cls.dir).cases
        peer("certutil", "-N", "-d", f"sql:{cls.dir}", "--empty-password")

    def ask(self, number, case):
        """What each says: by name, whether it accepts."""
        question = self.made[case]
        def put(name, content):
            path = self.dir / f"{number}-{name}"
            path.write_bytes(content)
            return path
        root = put("root.pem", pem("CERTIFICATE", question.root))
        leaf = put("leaf.pem", pem("CERTIFICATE", question.chain[0]))
        more = put("more.pem", b"".join(pem("CERTIFICATE", each) for each in question.chain[1:]))
        every = put("chain.pem", leaf.read_bytes() + more.read_bytes())
        crls = put("crls.pem", b"".join(pem("X509 CRL", each) for each in question.crls))
        ours = [*PROGRAM, "verify", "--rules", "rfc5280", "--ca", root]
        openssl = ["openssl", "verify", "-x509_strict", "-CAfile", root]
        gnutls = ["certtool", "--verify", "--load-ca-certificate", root, "--infile", every]
        for value, our, its, theirs in ((question.host, "--host", "-verify_hostname", "--verify-hostname"),
                                        (question.ip, "--ip", "-verify_ip", "--verify-hostname"),
                                        (question.email, "--email", "-verify_email", "--verify-email")):
            if value:
                ours += [our, value]
                openssl += [its, value]
                gnutls += [f"{theirs}={value}"]
        if question.server:
            ours += ["--purpose", "tls-server"]
            openssl += ["-purpose", "sslserver"]
            gnutls += [f"--verify-purpose={SERVER}"]
        else:
            ours += ["--purpose", "any"]
        if question.are_policies_checked:
            # Where a policy is required, OpenSSL wants one of those that it is given.
            openssl += ["-policy_check"] if question.policies else ["-policy_check", "-policy", ANY_POLICY]
        for each in question.policies:
            ours += ["--policy", each]
            openssl += ["-policy", each]
        if question.is_policy_required:
            ours.append("--require-policy")
            openssl.append("-explicit_policy")
        if question.are_crls_checked:
            ours += ["--check-crls", "--crl", crls]
            openssl += ["-crl_check_all", "-extended_crl", "-use_deltas", "-CRLfile", crls]
            gnutls += ["--load-crl", crls]
        if question.chain[1:]:
            openssl += ["-untrusted", more]
        commands = {"sealkit": [*ours, every], "openssl": [*openssl, leaf], "certtool": gnutls}
        if "vfychain" in question.peers:
            ders = [put(f"{index}.der", der) for index, der in enumerate(question.chain)]
            commands["vfychain"] = ["vfychain", "-d", f"sql:{self.dir}", "-pp", "-u", "1", *ders, "-t", put("root.der", question.root)]
        says, said = {}, {}
        for who in ("sealkit", *question.peers):
            process = subprocess.run([*map(str, commands[who])], capture_output=True, check=False, env=self.environment, cwd=self.dir,
                                     stdin=subprocess.DEVNULL, start_new_session=True)
            says[who] = process.returncode == 0
            said[who] = (process.stdout + process.stderr).decode("utf-8", "replace")
        return case, says, said

    def test_verdicts(self):
        chosen = list(enumerate(self.made))
        if EMULATED or SANITIZED:
            chosen = chosen[::6]
        found, accepted, asked = {}, {}, {}
        with concurrent.futures.ThreadPoolExecutor(4) as pool:
            for case, says, said in pool.map(lambda each: self.ask(*each), chosen):
                accepted[case] = says["sealkit"]
                for who in says:
                    asked[who] = asked.get(who, 0) + 1
                    if says[who] != says["sealkit"]:
                        found[case, who] = f"{case}: {who} {'accepts' if says[who] else 'refuses'}\n{said['sealkit']}{said[who]}"
        known = {(case, who) for who, listed in DIFFERENCES.items() for cases in listed.values() for case in cases}
        self.assertEqual({each: found[each] for each in found if each not in known}, {}, "differences that are not listed")
        self.assertEqual({each for each in known if each[0] in accepted and each not in found}, set(), "listed, but no difference")
        if len(chosen) == len(self.made):
            self.assertEqual({each for each in known if each[0] not in accepted}, set(), "no such case")
            self.assertGreaterEqual(asked["openssl"], 300)
            self.assertGreaterEqual(asked["certtool"], 300)
            self.assertGreaterEqual(asked["vfychain"], 60)
            self.assertGreaterEqual(sum(accepted.values()), 100)
            self.assertGreaterEqual(len(accepted) - sum(accepted.values()), 100)


if __name__ == "__main__":
    unittest.main()
