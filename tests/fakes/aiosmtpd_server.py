#!/usr/bin/env python3
"""Debian's aiosmtpd as a mail server on loopback: aiosmtpd_server.py FOLDER CERTIFICATE KEY starttls|tls

It requires TLS and a login ("me", "swordfish"), writes each mail to N.eml in FOLDER and says its port.
"""

import asyncio
import os
import ssl
import sys

from aiosmtpd.smtp import SMTP, AuthResult

folder, certificate, key, mode = sys.argv[1:]
context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
context.load_cert_chain(certificate, key)


class Handler:
    async def handle_DATA(self, server, session, envelope):
        number = len(os.listdir(folder))
        with open(os.path.join(folder, f"{number}.eml"), "wb") as file:
            file.write(envelope.content)
        return "250 taken"


def authenticate(server, session, envelope, mechanism, data):
    # "Not handled" makes it answer by itself.
    return AuthResult(success=(data.login, data.password) == (b"me", b"swordfish"), handled=False)


def protocol():
    starttls = mode == "starttls"
    return SMTP(
        Handler(),
        tls_context=context if starttls else None,
        require_starttls=starttls,
        authenticator=authenticate,
        auth_required=True,
        auth_require_tls=starttls,  # it does not notice TLS from the first byte
    )


async def main():
    loop = asyncio.get_running_loop()
    server = await loop.create_server(protocol, "127.0.0.1", 0, ssl=context if mode == "tls" else None)
    print(f"port {server.sockets[0].getsockname()[1]} ready", flush=True)
    await server.serve_forever()


asyncio.run(main())
