#!/usr/bin/env python3
"""A mail server on loopback that behaves well or badly.

smtp_server.py FOLDER [CERTIFICATE KEY] MODE...

Says its port on standard output. In FOLDER it writes each mail that it has taken to N.eml, what clients said to
`dialogue` (a line each, "TLS" where it began) and logins to `logins`. Modes:

  tls         TLS from the first byte            starttls     offers STARTTLS
  plain       offers AUTH PLAIN                  login        offers AUTH LOGIN; with either the login is required
  noehlo      refuses EHLO                       dropehlo     ends the connection at EHLO
  hiddenauth  knows AUTH, but tells nobody       greylist     puts recipients off
  reject      refuses the recipient              dropdata     ends the connection in the middle of the mail
  silent      never says a word                  silentdata   says nothing any more after the mail
  silentquit  does not answer QUIT               echo         repeats the password when it refuses a login
  nonsense    is no mail server                  long         greets with many lines
  domain      offers the logins of offices first stalldata    does not read the mail
"""

import base64
import os
import socket
import socketserver
import ssl
import sys
import threading

folder, modes = sys.argv[1], set(sys.argv[2:])
files = [argument for argument in sys.argv[2:] if argument.endswith(".pem")]
modes -= set(files)
context = None
if files:
    context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
    context.load_cert_chain(*files)


def append(name, text):
    with open(os.path.join(folder, name), "a", encoding="utf-8") as file:
        file.write(text + "\n")


class Gone(Exception):
    pass


class Session(socketserver.BaseRequestHandler):
    def handle(self):
        self.sock, self.unread, self.user, self.secret = self.request, b"", None, False
        try:
            if "tls" in modes:
                self.secure()
            self.greet()
            while self.command(self.line()):
                pass
        except (Gone, OSError) as end:
            append("ends", repr(end))

    def secure(self):
        self.sock = context.wrap_socket(self.sock, server_side=True)
        self.unread, self.secret = b"", True
        append("dialogue", "TLS")

    def receive(self):
        data = self.sock.recv(65536)
        if not data:
            raise Gone
        self.unread += data

    def line(self):
        while b"\r\n" not in self.unread:
            self.receive()
        line, self.unread = self.unread.split(b"\r\n", 1)
        append("dialogue", line.decode("utf-8", "replace"))
        return line.decode("utf-8", "replace")

    def say(self, *lines):
        text = "".join(f"{line[:3]}{'-' if i + 1 < len(lines) else ' '}{line[4:]}\r\n" for i, line in enumerate(lines))
        self.sock.sendall(text.encode())

    def greet(self):
        if "silent" in modes:
            append("dialogue", "connected")
            while True:
                self.receive()
        if "nonsense" in modes:
            self.sock.sendall(b"HTTP/1.0 400 What?\r\n\r\n")
        elif "long" in modes:
            self.say(*["220 welcome"] * 5, "220 test ESMTP")
        else:
            self.say("220 test ESMTP")

    def command(self, line):
        """False at the end."""
        word = line.upper().split(" ")[0].split(":")[0]
        handler = getattr(self, "on_" + word.lower(), None)
        if handler is None:
            self.say("500 5.5.1 unknown command")
            return True
        return handler(line) is not False

    def on_ehlo(self, line):
        if "dropehlo" in modes:
            return False
        if "noehlo" in modes:
            self.say("502 5.5.1 not implemented")
            return True
        names = [name.upper() for name in ("plain", "login") if name in modes]
        extensions = ["250 test", "250 SIZE 50000000", "250 8BITMIME"]
        if "domain" in modes:
            names = ["GSSAPI", "NTLM", *names]
        if names:
            extensions.append("250 AUTH " + " ".join(names))
        if "starttls" in modes and not self.secret:
            extensions.append("250 STARTTLS")
        self.say(*extensions)

    def on_helo(self, line):
        self.say("250 test")

    def on_starttls(self, line):
        if "starttls" not in modes:
            return self.say("502 5.5.1 not implemented")
        self.say("220 go ahead")
        self.secure()

    def on_auth(self, line):
        if not modes & {"plain", "login", "hiddenauth"}:
            return self.say("502 5.5.1 not implemented")
        _, method, *initial = line.split(" ")
        if method.upper() == "PLAIN":
            text = initial[0] if initial else self.ask("")
            _, user, password = base64.b64decode(text).decode().split("\0")
        else:
            user = base64.b64decode(initial[0] if initial else self.ask("Username:")).decode()
            password = base64.b64decode(self.ask("Password:")).decode()
        append("logins", f"{method.upper()} {user} {password}")
        if password == "swordfish" or password == "":
            self.user = user
            self.say("235 2.7.0 welcome")
        elif "echo" in modes:
            encoded = base64.b64encode(f"\0{user}\0{password}".encode()).decode()
            self.say(f"535 5.7.8 not {password}, {base64.b64encode(password.encode()).decode()}, {encoded}")
        else:
            self.say("535 5.7.8 wrong password")

    def ask(self, question):
        self.say("334 " + base64.b64encode(question.encode()).decode())
        return self.line()

    def on_mail(self, line):
        if modes & {"plain", "login"} and self.user is None:
            self.say("530 5.7.0 log in first")
        else:
            self.say("250 2.1.0 ok")

    def on_rcpt(self, line):
        if "reject" in modes:
            self.say("550 5.1.1 no such user")
        elif "greylist" in modes:
            self.say("451 4.7.1 come again in five minutes")
        else:
            self.say("250 2.1.5 ok")

    def on_data(self, line):
        self.say("354 go ahead")
        if "dropdata" in modes:
            self.receive()
            return False
        if "stalldata" in modes:
            append("dialogue", "stalled")
            threading.Event().wait()
        while not self.unread.endswith(b"\r\n.\r\n"):
            self.receive()
        mail, self.unread = self.unread[:-3], b""
        if "silentdata" in modes:
            append("dialogue", "mail")
            while True:
                self.receive()
        number = len([name for name in os.listdir(folder) if name.endswith(".eml")])
        with open(os.path.join(folder, f"{number}.eml"), "wb") as file:
            file.write(mail.replace(b"\r\n..", b"\r\n."))
        self.say("250 2.0.0 taken")

    def on_quit(self, line):
        if "silentquit" in modes:
            while True:
                self.receive()
        self.say("221 2.0.0 bye")
        return False


class Server(socketserver.ThreadingTCPServer):
    daemon_threads = True
    request_queue_size = 64

    def server_bind(self):
        if "stalldata" in modes:
            self.socket.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 4096)
        super().server_bind()


server = Server(("127.0.0.1", 0), Session)
print(f"port {server.server_address[1]} ready", flush=True)
server.serve_forever()
