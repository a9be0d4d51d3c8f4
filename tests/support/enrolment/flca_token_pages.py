"""The FLCA pages under /Register/: for people who registered and hold a token."""

import html
import re
import secrets

from enrolment.exchange import page
from enrolment.flca_parts import (TOKEN_WORDS, armoured, bare, lines_of, request_page, stored_form,
                                  view_page)
from enrolment.openssl import OpenSslError
from enrolment.state import ISSUED

# Id, title, mandatory, longest value (0: any), allowed values (none: any text).
FIELDS = (
    ("CommonName", "Имя:", True, 64, ()),
    ("Email", "Электронная почта:", False, 40, ()),
    ("Kind", "Вид лица:", False, 0, ("person", "company")),
    ("Note", "Примечание:", False, 0, ()),
)


def field_row(field):
    name, title, mandatory, longest, allowed = field
    shown = f'<FONT color="red">{title}</FONT>' if mandatory else title
    limit = f" maxLength={longest}" if longest else ""
    if allowed:
        # Without quotes, and the first one with a blank behind it: so readers take them apart.
        options = "".join(f"<option value={value}{'' if number else ' '}>{value}</option>\r\n"
                          for number, value in enumerate(allowed))
        entry = f'<select name="{name}" size=1>\r\n{options}</select>'
    elif name == "Note":
        entry = f'<TEXTAREA name="{name}" rows=3></TEXTAREA>'
    else:
        entry = f'<INPUT type="text" name="{name}"{limit} value="">'
    return f"<TR><TD>{shown}</TD><TD>{entry}</TD></TR>\r\n"


class TokenPages:
    """`registered`: who registers may ask for certificates at once; else after an approval."""

    def __init__(self, issuer, decision, stored, registered=True):
        self.issuer, self.decision, self.registered = issuer, decision, registered
        self.stored = stored or "plain"

    def handle(self, question):
        name = question.path.rpartition("/")[2].lower()
        if name == "reggetsubject.asp":
            return self.register(question)
        handler = self.PAGES.get(name)
        if handler is None:
            return page("Нет такой страницы", 404)
        token = self.token_of(question)
        return page("Неверный идентификатор или пароль") if token is None else handler(
            self, question, token)

    def token_of(self, question):
        form = question.form()
        token = form.get("TokenID", "")
        user = self.issuer.state.read()["users"].get(token)
        return token if user and user["password"] == form.get("Password", "") else None

    def register(self, question):
        form = question.form()
        if question.method != "POST" or form.get("GetSubjectFormPosted") != "1":
            return self.form_page()
        wrong = [name for name, _, mandatory, longest, allowed in FIELDS
                 if (mandatory and not form.get(name)) or (longest and len(form.get(name, "")) > longest)
                 or (allowed and form.get(name, "") not in ("", *allowed))]
        if wrong:
            return page("Неверные поля: " + ", ".join(wrong))
        return self.registered_page(self.new_user(form))

    def new_user(self, form):
        token = f"{secrets.randbelow(10**8):08d}"
        user = {"password": secrets.token_hex(6), "registered": self.registered,
                "subject": {name: form.get(name, "") for name, *_ in FIELDS}}
        with self.issuer.state.change() as data:
            user["number"] = len(data["users"]) + 1
            data["users"][token] = user
        return token, user

    def form_page(self):
        rows = "".join(map(field_row, FIELDS))
        empty = "<TR><TD></TD><TD><INPUT type=submit name=Go value=\"OK\"></TD></TR>\r\n"
        return page('<FORM method=post><INPUT type=hidden name=GetSubjectFormPosted value="1">\r\n'
                    f"<TABLE>\r\n{rows}{empty}</TABLE></FORM>")

    def registered_page(self, token_and_user):
        token, user = token_and_user
        target = "RegCreateCertRequest" if user["registered"] else "RegTemporaryUser"
        return page(f'<FORM method=post action="{target}.asp">\r\n'
                    f'<INPUT type=hidden Name=TokenID value="{token}">\r\n'
                    f'<INPUT type=hidden Name=Password value="{user["password"]}"></FORM>')

    def home(self, _, token):
        user = self.issuer.state.read()["users"][token]
        button = '<INPUT type=submit id=CreateCertReqButton>' if user["registered"] else ""
        rows = "".join(self.row(number, row)
                       for number, row in self.issuer.state.requests_of(token))
        return page(
            "<TABLE id=tblRegRequests>\r\n<TR><TD>Номер</TD></TR>\r\n"
            f'<TR><TD class="View">{user["number"]}</TD></TR>\r\n</TABLE>\r\n{button}\r\n'
            "<TABLE id=tblCertRequests>\r\n<TR><TD>Номер</TD><TD>Дата</TD><TD>Шаблон</TD>"
            f"<TD>Имя</TD><TD>Состояние</TD></TR>\r\n{rows}</TABLE>")

    def row(self, number, row):
        name = html.escape(self.name_of(row["owner"]))
        cells = (number, "&nbsp;01.01.2026&nbsp;", "<nobr>User</nobr>", name,
                 TOKEN_WORDS[row["state"]] + "&nbsp;")
        shown = "\r\n".join(f'<TD class="View">{cell}</TD>' for cell in cells)
        text = lines_of(stored_form(self.issuer, row, self.stored))
        return (f'<TR>\r\n{shown}\r\n<TD><INPUT TYPE="HIDDEN" NAME="PKCS10" VALUE="{text}">'
                "</TD></TR>\r\n")

    def name_of(self, token):
        return self.issuer.state.read()["users"][token]["subject"]["CommonName"]

    def new_request(self, _, token):
        return request_page(f"CN={self.name_of(token)}")

    def submit(self, question, token):
        if not self.issuer.state.read()["users"][token]["registered"]:
            return page("Регистрация не завершена")
        try:
            octets = bare(question.form()["PKCS10"])
            number = self.issuer.take(token, octets, self.decision, template="user")
        except (OpenSslError, ValueError, KeyError):
            return page("Запрос не разобран")
        row = self.issuer.state.request(number)
        if row["state"] == ISSUED:
            return page(f'<INPUT type=submit name="ConfirmReq_{number}" value="Установить">')
        return page("<PRE>\r\n" + armoured(stored_form(self.issuer, row, self.stored)) + "</PRE>")

    def own_row(self, number, token):
        row = self.issuer.state.request(number)
        return row if row and row["owner"] == token else None

    def install(self, question, token):
        found = re.match(rb"ConfirmReq_(\d+)=", question.body)
        row = self.own_row(int(found[1]), token) if found else None
        if row is None or row["state"] != ISSUED:
            return page("Сертификат не найден")
        chain = lines_of(self.issuer.chain(row["certificate"].encode()))
        return page(f'<FORM><INPUT TYPE="hidden" NAME="PKCS" VALUE="{chain}"></FORM>')

    def view_request(self, question, _):
        return view_page("Запрос на сертификат", bare(question.form()["PKCS10"]))

    def view_certificate(self, question, _):
        return view_page("Сертификат", bare(question.form()["PKCS"]))

    def confirm(self, question, token):
        number = question.form().get("RequestID", "")
        if self.own_row(number, token) is None:
            return page("Запрос не найден")
        with self.issuer.state.change() as data:
            data["requests"][number]["confirmed"] = True
        return page("Сертификат подтвержден")

    PAGES = {
        "regtemporaryuser.asp": home,
        "regcreatecertrequest.asp": new_request,
        "regsubmitcertrequest.asp": submit,
        "reginstallcert.asp": install,
        "regviewrequest.asp": view_request,
        "regviewcert.asp": view_certificate,
        "regconfirmcert.asp": confirm,
    }
