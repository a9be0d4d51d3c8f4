"""What the FLCA pages for both kinds of users have in common: words, stored forms of requests, the
page of a new request."""

import base64

from enrolment.exchange import page
from enrolment.issuing import lines_of
from enrolment.state import DENIED, FAILED, ISSUED, PENDING, REVOKED

FIRST_LINE = "-----BEGIN NEW CERTIFICATE REQUEST-----\r\n"
LAST_LINE = "-----END NEW CERTIFICATE REQUEST-----\r\n"

TOKEN_WORDS = {ISSUED: "Установить", PENDING: "В ожидании обработки", DENIED: "Отклонен",
               REVOKED: "Отозван", FAILED: "Ошибка"}
USER_WORDS = {**TOKEN_WORDS, ISSUED: "Завершен", PENDING: "Обработка", REVOKED: "Приостановлен"}

# Name, key specification and usages of what may be asked for.
TEMPLATES = (("User", 1, "1.3.6.1.5.5.7.3.2, 1.3.6.1.5.5.7.3.4"), ("Signer", 2, "1.3.6.1.5.5.7.3.4"))


def armoured(octets):
    return FIRST_LINE + lines_of(octets) + LAST_LINE


def bare(text):
    """The octets of a request in its armour."""
    return base64.b64decode(text.replace(FIRST_LINE.strip(), "").replace(LAST_LINE.strip(), ""))


def stored_form(issuer, row, form):
    """The request as a page keeps it: DER of one of the forms that readers must undo."""
    request, sent = (base64.b64decode(row[key]) for key in ("request", "sent"))
    once = sent if sent != request else issuer.sign(request)
    if form == "plain":
        return request
    if form == "once":
        return once
    if form in ("twice", "armoured"):
        return base64.b64decode(row["twice"]) if "twice" in row else issuer.sign(once)
    return issuer.sign(base64.b64encode(request).decode().encode("utf-16-le"))


def doubled(text):
    """As text stands in a script between double quotes."""
    return text.replace('"', '""')


def request_page(subject):
    """The page on which a new request is put together."""
    options = "".join(f'<option value="{number}">{name}</option>\r\n'
                      for number, (name, _, _) in enumerate(TEMPLATES))
    arrays = "".join(f'gArrKeySpec({number})={spec}\r\ngArrEKU({number})="{usages}"\r\n'
                     for number, (_, spec, usages) in enumerate(TEMPLATES))
    return page(f'<SCRIPT LANGUAGE="VBScript">\r\nDim gArrKeySpec(2), gArrEKU(2)\r\n'
                f'strDN="{doubled(subject)}"\r\n{arrays}'
                f"SetUsage gArrEKU(1), gArrKeySpec(1)\r\n</SCRIPT>\r\n"
                f"<select name=Template>\r\n{options}</select>")


def view_page(title, octets):
    return page(f"<H1>{title}</H1>\r\n<PRE>\r\n{lines_of(octets)}</PRE>")


def chain_page(issuer):
    """certnew.asp: no page, but the chain in the armour of a certificate."""
    text = ("-----BEGIN CERTIFICATE-----\r\n" + lines_of(issuer.chain())
            + "-----END CERTIFICATE-----\r\n")
    answer = page("")
    answer.headers["Content-Type"] = "application/pkix-cert"
    answer.body = text.encode()
    return answer
