"""Holds one verdict against what happened. Pure functions."""

import dataclasses

AGREES, TOO_DARK, TOO_BRIGHT, DISAGREES = "agrees", "too dark", "too bright", "disagrees"
FROM_WORST = ("blocked", "tunnel", "moves", "unknown", "undone", "refused", "stays")
AFTER_START = "admin bypass routes lost after tunnel start"

STRONG_HOST = "packets leave by the interface of their source address here (strong host sends), " \
              "which the forecast does not count on"
BY_DESTINATION = "the first adapter sent to them before the connect too: Linux sends by the " \
                 "destination, the forecast takes the adapter by which they came"
NOT_READ = "the client could not read something that the service could"
PINNED_IF_POSSIBLE = "the service pins the client of a session if it can, which the forecast does not " \
                     "count on"
SETTINGS_UNKNOWN = "the client cannot know the settings of the service"


@dataclasses.dataclass(frozen=True)
class Happened:
    """What became of a connect and of one connection."""

    end: str  # "connected", "refused" or "undone"
    outcome: str  # "kept", "moved" or "lost"
    error: str = ""  # of the reply, with the failure reason


@dataclasses.dataclass(frozen=True)
class Circumstances:
    """What may explain a verdict that was too dark."""

    settings_known: bool = True
    all_read: bool = True
    by_connection: bool = True  # asked about an established connection, not an address alone
    pinned_if_possible: bool = False  # as the client of a session
    strong_host: bool = False
    by_second_adapter: bool = False


def end_of(reply):
    if reply["ok"]:
        return "connected"
    if reply["error"] == "poc_default_route_detected" or reply["message"].startswith(AFTER_START):
        return "undone"
    return "refused"


def error_of(reply):
    """The words of a refusal that the forecast must name."""
    if reply["ok"]:
        return ""
    reports = (reply.get(name, {}) for name in ("poc_route_guard", "admin_bypass"))
    return " ".join([reply["error"], *(report["failure_reason"] for report in reports
                                       if report.get("failure_reason"))])


def is_harmed(happened):
    return happened.outcome != "kept"


def judge(verdict, detail, happened, circumstances):
    """Returns the judgement, and why when it is not plain agreement."""
    if verdict == "unknown":
        return AGREES, ""
    if verdict not in FROM_WORST:
        return DISAGREES, f"no verdict: {verdict}"
    if _is_too_bright(verdict, happened):
        return TOO_BRIGHT, f"{happened.end} {happened.error}, and {happened.outcome}"
    if _agrees(verdict, happened):
        return _judge_error(verdict, detail, happened, circumstances)
    return _judge_darkness(verdict, detail, happened, circumstances)


def _is_too_bright(verdict, happened):
    if verdict == "stays":
        return is_harmed(happened) or happened.end != "connected"
    if verdict == "refused":
        return is_harmed(happened) or happened.end == "undone"
    return verdict == "undone" and happened.end == "connected" and is_harmed(happened)


def _agrees(verdict, happened):
    return {"blocked": happened.end == "connected" and happened.outcome == "lost",
            "tunnel": happened.end == "connected" and happened.outcome == "lost",
            "moves": happened.end == "connected" and is_harmed(happened),
            "undone": happened.end == "undone",
            "refused": happened.end == "refused",
            "stays": True}[verdict]


def _judge_error(verdict, detail, happened, circumstances):
    if verdict in ("refused", "undone") and circumstances.settings_known:
        missing = [word for word in happened.error.split() if word not in detail]
        if missing:
            return DISAGREES, f"the reply said {happened.error}"
    return AGREES, ""


def _judge_darkness(verdict, detail, happened, circumstances):
    if not circumstances.settings_known:
        return TOO_DARK, SETTINGS_UNKNOWN
    if not circumstances.all_read:
        return TOO_DARK, NOT_READ
    if verdict in ("tunnel", "moves") and happened.end == "connected":
        if circumstances.pinned_if_possible:
            return TOO_DARK, PINNED_IF_POSSIBLE
        if circumstances.strong_host:
            if circumstances.by_connection and "may survive" not in detail:
                return DISAGREES, "the detail does not say that the connection may survive"
            return TOO_DARK, STRONG_HOST
        if verdict == "moves" and circumstances.by_second_adapter:
            return TOO_DARK, BY_DESTINATION
    return DISAGREES, f"{happened.end} {happened.error}, and {happened.outcome}"
