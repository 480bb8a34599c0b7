#!/usr/bin/python3
"""An SMTP receiver on 127.0.0.1 for the mail transport tests (aiosmtpd).

Prints the port it listens on as the first line of stdout, then serves until it is killed.
Each message it accepts is written to FOLDER as N.eml (the DATA bytes as received, after SMTP's
dot-unstuffing) and N.envelope (MAIL FROM on the first line, one RCPT TO per line after it).

Run it with /usr/bin/python3: that is the interpreter that sees Debian's aiosmtpd.
"""

import argparse
import asyncio
import os
import ssl
import sys

from aiosmtpd.smtp import SMTP, AuthResult, LoginPassword


def parse_arguments():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--port", type=int, default=0, help="0: pick a free port")
    parser.add_argument("--folder", required=True, help="where received messages go")
    parser.add_argument("--tls", choices=["none", "starttls", "smtps"], default="starttls")
    parser.add_argument("--cert", help="PEM certificate (starttls, smtps)")
    parser.add_argument("--key", help="PEM private key (starttls, smtps)")
    parser.add_argument("--user", help="require AUTH PLAIN/LOGIN with this user")
    parser.add_argument("--password", default="")
    parser.add_argument("--reject", action="append", default=[],
                        help="refuse this recipient with 550 (repeatable)")
    return parser.parse_args()


class Handler:
    def __init__(self, folder, rejected):
        self.folder = folder
        self.rejected = {address.lower() for address in rejected}
        self.count = 0

    async def handle_RCPT(self, server, session, envelope, address, rcpt_options):
        if address.lower() in self.rejected:
            return "550 5.1.1 No such user here"
        envelope.rcpt_tos.append(address)
        return "250 OK"

    async def handle_DATA(self, server, session, envelope):
        self.count += 1
        base = os.path.join(self.folder, str(self.count))
        lines = [envelope.mail_from] + list(envelope.rcpt_tos)
        write_atomically(base + ".envelope", ("\n".join(lines) + "\n").encode())
        # The .eml file last: its appearance tells the test that the message is complete.
        write_atomically(base + ".eml", envelope.original_content)
        return "250 Message accepted for delivery"


def write_atomically(path, data):
    with open(path + ".part", "wb") as out:
        out.write(data)
    os.rename(path + ".part", path)


def make_authenticator(user, password):
    def authenticate(server, session, envelope, mechanism, auth_data):
        good = (isinstance(auth_data, LoginPassword)
                and auth_data.login == user.encode()
                and auth_data.password == password.encode())
        # handled=False makes aiosmtpd send the 535 reply itself; True would leave the client
        # waiting for an answer that never comes.
        return AuthResult(success=True) if good else AuthResult(success=False, handled=False)
    return authenticate


def make_protocol(arguments, handler, context):
    options = {"hostname": "localhost", "decode_data": False}
    if arguments.user:
        options.update(authenticator=make_authenticator(arguments.user, arguments.password),
                       auth_required=True,
                       # Implicit TLS is invisible to aiosmtpd's STARTTLS bookkeeping.
                       auth_require_tls=arguments.tls == "starttls")
    if arguments.tls == "starttls":
        options.update(tls_context=context, require_starttls=True)
    return lambda: SMTP(handler, **options)


async def serve(arguments):
    context = None
    if arguments.tls != "none":
        context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        context.load_cert_chain(arguments.cert, arguments.key)
    handler = Handler(arguments.folder, arguments.reject)
    loop = asyncio.get_running_loop()
    server = await loop.create_server(make_protocol(arguments, handler, context), "127.0.0.1",
                                      arguments.port,
                                      ssl=context if arguments.tls == "smtps" else None)
    print(server.sockets[0].getsockname()[1], flush=True)
    await server.serve_forever()


def main():
    arguments = parse_arguments()
    try:
        asyncio.run(serve(arguments))
    except KeyboardInterrupt:
        pass
    return 0


if __name__ == "__main__":
    sys.exit(main())
