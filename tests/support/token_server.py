#!/usr/bin/python3
"""A token server on Authlib and Flask, which check by themselves what a client must do: token_server.py PORT FOLDER

It serves on 127.0.0.1 until it is killed, and notes in FOLDER/log, a line each, what it was asked and what became of it. One user, anna
with the password "geheim", and three clients: "desktop" (public, with the redirect URI http://127.0.0.1/app on any port), "web"
(secret "web-secret", the same, in the header), "poster" (secret "post-secret", in the form). Tokens live for FOLDER/lifetime seconds, 60
when there is no such file.
"""
import os
import secrets
import sys
import time
from urllib.parse import urlsplit

os.environ["AUTHLIB_INSECURE_TRANSPORT"] = "1"  # loopback; the library has https in its own tests

from authlib.integrations.flask_oauth2 import AuthorizationServer, ResourceProtector
from authlib.oauth2.base import OAuth2Error
from authlib.oauth2.rfc6749 import ClientMixin, grants
from authlib.oauth2.rfc6750 import BearerTokenValidator
from authlib.oauth2.rfc7636 import CodeChallenge
from flask import Flask, request

PORT, FOLDER = int(sys.argv[1]), sys.argv[2]
USERS = {"anna": "geheim"}
app = Flask("token_server")


def note(*words):
    with open(os.path.join(FOLDER, "log"), "a", encoding="utf-8") as log:
        print(*words, file=log)


def lifetime():
    try:
        with open(os.path.join(FOLDER, "lifetime"), encoding="utf-8") as file:
            return int(file.read())
    except OSError:
        return 60


class Client(ClientMixin):
    def __init__(self, name, secret, method):
        self.client_id, self.secret, self.method = name, secret, method

    def get_client_id(self):
        return self.client_id

    def get_default_redirect_uri(self):
        return None

    def get_allowed_scope(self, scope):
        return " ".join(word for word in (scope or "").split() if word in ("mail", "offline_access"))

    def check_redirect_uri(self, redirect_uri):
        """The port does not count for a program on a desktop: RFC 8252, 7.3."""
        parts = urlsplit(redirect_uri)
        return parts.scheme == "http" and parts.hostname == "127.0.0.1" and parts.path == "/app"

    def check_client_secret(self, client_secret):
        return secrets.compare_digest(self.secret, client_secret)

    def check_endpoint_auth_method(self, method, endpoint):
        return method == self.method

    def check_response_type(self, response_type):
        return response_type == "code"

    def check_grant_type(self, grant_type):
        return grant_type != "client_credentials" or bool(self.secret)


CLIENTS = {client.client_id: client for client in (Client("desktop", "", "none"), Client("web", "web-secret", "client_secret_basic"),
                                                   Client("poster", "post-secret", "client_secret_post"))}


class Code:
    def __init__(self, asked, user):
        self.code = secrets.token_urlsafe(24)
        self.client_id, self.redirect_uri, self.scope, self.user = asked.client.client_id, asked.redirect_uri, asked.scope, user
        self.code_challenge = asked.data.get("code_challenge")
        self.code_challenge_method = asked.data.get("code_challenge_method")
        self.end = time.time() + 60

    def get_redirect_uri(self):
        return self.redirect_uri

    def get_scope(self):
        return self.scope


class Token:
    def __init__(self, token, asked):
        self.access_token, self.refresh_token = token["access_token"], token.get("refresh_token")
        self.scope, self.client, self.user = token.get("scope", ""), asked.client, asked.user
        self.end = time.time() + token["expires_in"]

    def get_scope(self):
        return self.scope

    def check_client(self, client):
        return client is self.client

    def get_expires_in(self):
        return max(0, int(self.end - time.time()))

    def is_expired(self):
        return time.time() >= self.end

    def is_revoked(self):
        return False


codes, tokens = {}, []


class AuthorizationCodeGrant(grants.AuthorizationCodeGrant):
    TOKEN_ENDPOINT_AUTH_METHODS = ["none", "client_secret_basic", "client_secret_post"]

    def save_authorization_code(self, code, asked):
        pass  # made with the challenge in generate_authorization_code

    def generate_authorization_code(self):
        code = Code(self.request, self.request.user)
        codes[code.code] = code
        return code.code

    def query_authorization_code(self, code, client):
        known = codes.get(code)
        return known if known and known.client_id == client.client_id and time.time() < known.end else None

    def delete_authorization_code(self, authorization_code):
        del codes[authorization_code.code]

    def authenticate_user(self, authorization_code):
        return authorization_code.user


class PasswordGrant(grants.ResourceOwnerPasswordCredentialsGrant):
    TOKEN_ENDPOINT_AUTH_METHODS = ["none", "client_secret_basic", "client_secret_post"]

    def authenticate_user(self, username, password):
        return username if USERS.get(username) == password else None


class ClientCredentialsGrant(grants.ClientCredentialsGrant):
    TOKEN_ENDPOINT_AUTH_METHODS = ["client_secret_basic", "client_secret_post"]


class RefreshTokenGrant(grants.RefreshTokenGrant):
    TOKEN_ENDPOINT_AUTH_METHODS = ["none", "client_secret_basic", "client_secret_post"]
    INCLUDE_NEW_REFRESH_TOKEN = True

    def authenticate_refresh_token(self, refresh_token):
        return next((token for token in tokens if token.refresh_token == refresh_token), None)

    def authenticate_user(self, credential):
        return credential.user

    def revoke_old_credential(self, credential):
        tokens.remove(credential)


server = AuthorizationServer(app, query_client=CLIENTS.get, save_token=lambda token, asked: tokens.append(Token(token, asked)))
server.register_grant(AuthorizationCodeGrant, [CodeChallenge(required=True)])
server.register_grant(PasswordGrant)
server.register_grant(ClientCredentialsGrant)
server.register_grant(RefreshTokenGrant)


def make_token(grant_type, client, user=None, scope=None, expires_in=None, include_refresh_token=True):
    token = {"token_type": "Bearer", "access_token": secrets.token_urlsafe(32), "expires_in": lifetime()}
    if include_refresh_token and grant_type != "client_credentials":
        token["refresh_token"] = secrets.token_urlsafe(32)
    if scope:
        token["scope"] = scope
    return token


server.register_token_generator("default", make_token)


class Validator(BearerTokenValidator):
    def authenticate_token(self, token_string):
        return next((token for token in tokens if token.access_token == token_string), None)


protect = ResourceProtector()
protect.register_token_validator(Validator())

PAGE = """<!DOCTYPE html><html><head><title>Sign in</title></head><body><h1>Sign in</h1>
<form method="post"><input name="user" id="user"><input name="password" id="password" type="password"><button id="go">Go on</button></form>
%s</body></html>"""
# The hand of a person, for browsers that nobody sits at.
TYPING = """<script>
document.getElementById("user").value = "anna";
document.getElementById("password").value = "geheim";
document.getElementById("go").click();
</script>"""


@app.route("/authorize", methods=["GET", "POST"])
def authorize():
    try:
        server.get_consent_grant(end_user=None)
    except OAuth2Error as error:
        note("authorize refused", error.error)
        return "refused: " + error.error, 400
    if request.method == "GET":
        note("login page shown to", "a browser" if "Chrome" in request.headers.get("User-Agent", "") else "a program")
        return PAGE % (TYPING if os.path.exists(os.path.join(FOLDER, "typing")) else "")
    user = request.form.get("user")
    if USERS.get(user) != request.form.get("password"):
        note("logged on", "nobody")
        return server.create_authorization_response(grant_user=None)
    note("logged on", user)
    return server.create_authorization_response(grant_user=user)


@app.route("/token", methods=["POST"])
def token():
    response = server.create_token_response()
    note("token", request.form.get("grant_type"), response.status_code, (response.get_json() or {}).get("error", "granted"))
    return response


@app.route("/EWS/Exchange.asmx", methods=["GET", "POST"])
@protect("mail")
def mail():
    note("mail read")
    return "mail of " + str(protect.acquire_token("mail").user)


@app.route("/ready")
def ready():
    return "ready"


app.run("127.0.0.1", PORT, threaded=True)
