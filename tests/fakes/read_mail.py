#!/usr/bin/env python3
"""Reads a mail as mail programs do: read_mail.py MAIL FOLDER

Writes each of its header fields to FOLDER/field-NAME, its text to `body`, and a file's content, type and name to
`attachment`, `attachment-type` and `attachment-name`. Defects go to `defects`.
"""

import email
import email.policy
import os
import sys

with open(sys.argv[1], "rb") as file:
    raw = file.read()
mail = email.message_from_bytes(raw, policy=email.policy.SMTP)


def put(name, content):
    with open(os.path.join(sys.argv[2], name), "wb") as output:
        output.write(content if isinstance(content, bytes) else content.encode())


for name in mail.keys():
    put("field-" + name.lower(), str(mail[name]))
text = mail.get_body(("plain",)).get_content().replace("\r\n", "\n")
put("body", text if mail.is_multipart() else text.removesuffix("\n"))  # the protocol ends each mail with a line end
for attachment in mail.iter_attachments():
    put("attachment", attachment.get_content())
    put("attachment-type", attachment.get_content_type())
    put("attachment-name", attachment.get_filename())
defects = [str(defect) for part in mail.walk() for defect in part.defects]
ours = raw[raw.find(b"Date: ") :]  # without what servers put before it
defects += [f"a long line: {line[:40]!r}" for line in ours.split(b"\r\n") if len(line) > 78]
defects += ["a bare line feed"] if b"\n" in raw.replace(b"\r\n", b"") else []
put("defects", "\n".join(defects))
