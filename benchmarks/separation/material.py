#!/usr/bin/python3
"""material.py SESSION... --out DIR [--only TEXT]

Makes sessions for corner cases of the separation from recorded ones whose truth is known (sessions.py tells their
shape). The results have the same shape, float WAV, and go to DIR/CORNER/SESSION[.VARIANT]. The truth of every track
stays known: a track is own + leakage, and only own, leakage, time, rate and type change; a second microphone on a drum
has that drum's sound in it as its truth. In addition, a resulting session.json may hold extra_tracks (Other and
overhead tracks that belong to the Group but have no truth), and per track "drum": "absent" (never plays) or "rare"
(one hit), and "silent": true.

Corners that need a drum without its room (more drums, long pieces, drums hit together or apart) are mixed from the
truths alone: each drum reaches every other microphone over its own path of delay, level and a dull diffuse tail of
0.15 s. Levels are in dB of the leaking drum's power at its own microphone. All random values come from fixed seeds, so
results repeat. Needs numpy and soundfile.
"""
import argparse
import os

import numpy as np

from sessions import (Session, at_rate, convolved, cymbals, drum_of, faded, keep_hits, load, mark_by_hits, mixed,
                      path, piece, repeated, resampled, retimed, save, second_microphone, sections, with_leakage)

LEAKS = [-60, -40, -30, -20, -10, 10, 20]  # dB, on everything but the own drum
RATES = [44100, 48000, 88200, 96000, 192000]


def leakage_corners(session, first):
    for db in LEAKS:
        yield "leakage %+d dB" % db, with_leakage(session, db)
    other = session.copy(session.name)
    for t in other.tracks:
        t["rest"] = np.zeros(other.length)
    yield "no leakage", other

    random = np.random.default_rng(5)
    other = session.copy(session.name)
    for t in other.tracks:
        gain, leak = 10 ** (random.uniform(-20, 10) / 20), 10 ** (random.uniform(-12, 12) / 20)
        t["own"], t["rest"] = t["own"] * gain, t["rest"] * gain * leak
    yield "other levels", other


def membership_corners(session, first):
    toms = [t["name"] for t in session.of_type("tomHigh", "tomLow", "tomFloor")]
    other_names = {"kick": [t["name"] for t in session.of_type("kick")], "snare": [t["name"] for t in session.of_type("snare")],
                   "hi-hat": [t["name"] for t in session.of_type("hiHat")]}
    for drum, names in other_names.items():
        yield "missing microphone", session.without("%s.no-%s" % (session.name, drum), names)
    yield "missing microphone", session.without(session.name + ".no-tom", toms[:1])
    keep = other_names["kick"] + other_names["snare"]
    yield "few microphones", session.without(session.name + ".kick-snare", [t["name"] for t in session.tracks if t["name"] not in keep])
    if first:
        yield "one microphone", session.without(session.name + ".snare", [t["name"] for t in session.tracks if t["name"] != other_names["snare"][0]])

    for kind, drum_types in (("tom", ("tomHigh", "tomLow")), ("kick", ("kick",)), ("snare", ("snare",))):
        for amount in ("absent", "rare"):
            other = session.copy("%s.%s" % (session.name, kind))
            for t in other.of_type(*drum_types)[:1]:
                t["drum"] = amount
                first = t["hits"][0][0] / other.rate if t["hits"] else 0.0
                window = faded(other, max(0.0, first - 0.01), first + 0.5) if amount == "rare" else np.zeros(other.length)
                t["own"] = t["own"] * window
                keep_hits(t, window)
            yield ("a drum never plays" if amount == "absent" else "a drum plays once"), other

    for amount, level in (("", None), (".cymbals", -28)):
        yield "Other and overheads", with_overheads(session, session.name + amount, level)


def with_overheads(session, name, cymbal_db):
    """Two overheads and a room that hear every drum; with cymbals, at this level against a close microphone's drum,
    that have no microphone of their own."""
    random = np.random.default_rng(3)
    other = session.copy(name)
    rate, n = other.rate, other.length
    level = {"kick": -16, "hiHat": -5}
    heard = [(t["own"].copy(), level.get(t["drum_type"], -9), random.uniform(0.0025, 0.005)) for t in other.tracks]
    if cymbal_db is not None:
        sound = cymbals(rate, n, random)
        power = [np.sqrt(np.mean(t["own"] ** 2)) for t in other.tracks]
        heard.append((sound * np.mean(power), -3, random.uniform(0.0025, 0.004)))
        for t, p in zip(other.tracks, power):
            db = cymbal_db + random.uniform(-4, 4) + 8 * (t["drum_type"] == "hiHat")
            t["rest"] = t["rest"] + convolved(sound * p, path(rate, db, random))
    for extra, kind, decay in (("OH L", "oh", 0.12), ("OH R", "oh", 0.12), ("Room", "other", 0.25)):
        far = 0.008 if extra == "Room" else 0.0
        signal = sum(convolved(x, path(rate, db + random.uniform(-3, 3) - 6 * (far > 0), random, decay,
                                       delay + far + random.uniform(0, 0.001))) for x, db, delay in heard)
        other.extra.append({"name": extra, "drum_type": kind, "signal": signal})
    return other


def piece_corners(session, first):
    for name, start in (("first", 0), ("middle", 5)):
        for db in (0, -10, 10):
            short = piece(session, "%s.%s" % (session.name, name), start, start + 10)
            yield ("10 s" if db == 0 else "10 s, leakage %+d dB" % db), with_leakage(short, db)


def noise_corners(session, first):
    random = np.random.default_rng(11)
    other = session.copy(session.name)
    for t in other.tracks:
        level = 0.01 * np.sqrt(np.mean((t["own"] + t["rest"]) ** 2))
        t["rest"] = t["rest"] + level * random.standard_normal(other.length)
    yield "noise at -40 dB", other


def type_corners(session, first):
    """Types that are wrong, and second microphones on one drum."""
    def typed(variant, change):
        other = session.copy("%s.%s" % (session.name, variant))
        for t in other.tracks:
            t["drum_type"] = change.get(t["drum_type"], change.get("all", t["drum_type"]))
        return other

    for variant, change in (("hat-snare", {"hiHat": "snare"}), ("snare-hat", {"snare": "hiHat"}),
                            ("high-toms", {"all": "tomHigh"}), ("kick-floor", {"kick": "tomFloor"})):
        yield "wrong types", typed(variant, change)

    random = np.random.default_rng(13)
    for variant, drum, second in (("tom", "tomHigh", "tomHigh"), ("tom-floor", "tomHigh", "tomFloor"),
                                  ("hat", "hiHat", "hiHat"), ("kick-floor", "kick", "tomFloor"),
                                  ("snare-high", "snare", "tomHigh"),
                                  ("kick-other", "kick", "other"), ("snare-other", "snare", "other")):
        other = session.copy("%s.%s" % (session.name, variant))
        twin = second_microphone(other, other.of_type(drum)[0], "Second " + drum, second, random)
        if second == "other":
            other.extra.append({"name": twin["name"], "drum_type": second, "signal": twin["own"] + twin["rest"]})
        else:
            other.tracks.append(twin)
        yield "second microphone " + ("of type Other" if second == "other" else "on one drum"), other


def timing_corners(session, first):
    """Drums hit together, each hit of the kick or the snare with some of the others', and apart by 130 ms or more:
    mixed from the truths, one microphone a drum."""
    rate = session.rate
    drums = [t for k in ("kick", "snare", "hiHat") for t in session.of_type(k)[:1]]
    drums += session.of_type("tomHigh", "tomLow", "tomFloor")
    for kind, level in (("kick", -22), ("kick", -35), ("snare", -22)):
        random = np.random.default_rng(17)
        grid = [h[0] for h in next(t for t in drums if t["drum_type"] == kind)["hits"]]
        grid = [at for at, before in zip(grid, [-rate] + grid)
                if at - before > 0.2 * rate and at < session.length - rate // 10]
        played = []
        for i, t in enumerate(drums):
            every = {"hiHat": 1, "kick": 2, "snare": 2}.get(t["drum_type"], 3 + i % 2)
            jitter = lambda: int(np.clip(random.normal(0, 0.002), -0.004, 0.004) * rate)
            if t["drum_type"] == kind:
                played.append(drum_of(session, t))
            else:
                played.append(retimed(session, t, [at + jitter() for at in grid[i % every::every]], random))
        yield "drums hit together", mixed("%s.%s%d" % (session.name, kind, level), rate, played, level, 19)

    random = np.random.default_rng(23)
    places, last = [[] for _ in drums], 0.0
    for at, i in sorted((h[0] / rate, i) for i, t in enumerate(drums) for h in t["hits"]):
        if at - last < 0.13 and drums[i]["drum_type"] == "hiHat":
            continue  # the busiest drum makes room; the others wait
        at = max(at, last + random.uniform(0.13, 0.18))
        if at < session.length / rate - 0.3:
            places[i].append(int(at * rate))
            last = at
    played = [retimed(session, t, p, random) for t, p in zip(drums, places)]
    yield "drums hit apart", mixed(session.name, rate, played, -22, 19)


def absence_corners(session, first):
    other = with_leakage(session, 10, session.name + ".tom")
    tom = other.of_type("tomHigh", "tomLow")[0]
    tom["hits"] = []
    yield "a drum never plays, leakage +10 dB", mark_by_hits(other)
    drums = [drum_of(session, t) for t in session.tracks if t["drum_type"] != "snare"]
    drums.append(dict(drum_of(session, session.of_type("snare")[0]), own=np.zeros(session.length), hits=[], drum="absent"))
    yield "a drum never plays, leakage +10 dB", mixed(session.name + ".snare", session.rate, drums, -12, 29)


def change_corners(session, first):
    """What is done to one microphone of the first session: polarity, delay, a clock of its own, clipping, a level
    change half way."""
    if not first:
        return
    n = session.length

    def changed(variant, index, change):
        return session.map("%s.%s" % (session.name, variant), lambda x, i: change(x) if i == index else x)

    yield "changes to one microphone", changed("polarity", 1, lambda x: -x)
    late = changed("delay", 1, lambda x: np.concatenate([np.zeros(200), x[:-200]]))
    late.tracks[1]["hits"] = [[h[0] + 200] + h[1:] for h in late.tracks[1]["hits"] if h[0] + 200 < n]
    yield "changes to one microphone", late
    at = np.arange(n) * (1 + 200e-6)
    yield "changes to one microphone", changed("drift", 3, lambda x: np.interp(at, np.arange(n), x))
    clipped = session.copy(session.name + ".clipping")
    t = clipped.tracks[1]
    most = 0.5 * np.max(np.abs(t["own"] + t["rest"]))
    both, t["own"] = np.clip(t["own"] + t["rest"], -most, most), np.clip(t["own"], -most, most)
    t["rest"] = both - t["own"]
    yield "changes to one microphone", clipped
    yield "changes to one microphone", changed("level", 0, lambda x: x * np.where(np.arange(n) < n // 2, 1, 0.5))


def silence_corners(session, first):
    lead = int(5 * session.rate)
    other = session.map(session.name, lambda x, i: np.concatenate([np.zeros(lead), x]))
    for t in other.tracks:
        t["hits"] = [[h[0] + lead] + h[1:] for h in t["hits"]]
    yield "silent lead-in", other

    gaps = faded(session, 0, 4) + faded(session, 7, 12) + faded(session, 15, 20)
    other = session.map(session.name, lambda x, i: x * gaps)
    for t in other.tracks:
        keep_hits(t, gaps)
    yield "silent gaps", other

    # The same without its silence: what an analysis would see that skips silent frames.
    kept = gaps > 0
    places = np.cumsum(kept) - 1
    cut = other.map(session.name, lambda x, i: x[kept])
    for t in cut.tracks:
        t["hits"] = [[int(places[h[0]])] + h[1:] for h in t["hits"]]
    yield "silent gaps cut out", cut

    for variant, lead in (("", 0), (".lead", 3)):
        random = np.random.default_rng(9)
        window = faded(session, lead, 20 - lead)
        while np.mean(window == 0) < 0.35:
            at = random.uniform(0, 18)
            window *= 1 - faded(session, at, at + random.uniform(0.3, 2))
        other = session.map(session.name + variant, lambda x, i: x * window)
        for t in other.tracks:
            keep_hits(t, window)
        yield "35 % silence", mark_by_hits(other)

    random = np.random.default_rng(7)
    windows = []
    for _ in session.tracks:  # mute every track over its own stretches
        at = random.uniform(1, 13, 2)
        windows.append(1 - np.maximum(faded(session, at[0], at[0] + 3), faded(session, at[1], at[1] + 3)))
    other = session.map(session.name, lambda x, i: x * windows[i])
    for t, w in zip(other.tracks, windows):
        keep_hits(t, w)
    yield "tracks muted by turns", other

    k = len(session.tracks) - 1
    other = session.map(session.name, lambda x, i: x * 0 if i == k else x)
    other.tracks[k]["silent"] = True
    other.tracks[k]["hits"] = []
    yield "a silent track", other
    if not first:
        return
    other = session.map(session.name, lambda x, i: x * 0)
    for t in other.tracks:
        t["silent"], t["hits"] = True, []
    yield "all silent", other


def rate_corners(session, first):
    for rate in RATES:
        if rate != session.rate and (first or rate <= 48000):
            yield "%g kHz" % (rate / 1000), at_rate(session, rate)
    for seconds in (60, 61) if first else ():
        yield "%d s" % seconds, repeated(session, session.name, seconds)


def joint_corners(sessions):
    """Corners of drums from several sessions, at the rate of the first."""
    rate = sessions[0].rate
    all_at = [s if s.rate == rate else at_rate(s, rate) for s in sessions]
    n = min(s.length for s in all_at)
    for s in all_at:
        for t in s.tracks:
            t["own"] = t["own"][:n]
            t["rest"] = t["rest"][:n]
    for i, s in enumerate(all_at):
        guest = all_at[(i + 1) % len(all_at)]
        base = [drum_of(s, t) for t in s.tracks]
        for kind in ("snare", "kick"):
            drums = base + [drum_of(guest, guest.of_type(kind)[0], name="Guest " + kind)]
            yield "two " + kind + "s", mixed(s.name, rate, drums, -22, i)
        toms = s.of_type("tomHigh", "tomLow", "tomFloor")
        for level in (-15, -25):
            tom = toms[0]
            slower = resampled(tom["own"], int(n * 1.05))[:n]
            twin = {"name": "Twin Tom", "drum_type": "tomLow", "own": slower,
                    "hits": [[int(h[0] * 1.05)] + h[1:] for h in tom["hits"] if h[0] * 1.05 < n - 1000]}
            twin = drum_of(Session("", rate, [twin]), "Twin Tom", roll=rate // 2)
            near = [d for d in base if d["drum_type"] in ("kick", "snare", "hiHat")] + [drum_of(s, tom), twin]
            yield "two like toms", mixed("%s.%d" % (s.name, level), rate, near, level, i)
    many = [drum_of(s, t, name="%d %s" % (k + 1, t["name"])) for k, s in enumerate(all_at) for t in s.tracks]
    for count in (12, 20):
        drums = list(many[:count])
        while len(drums) < count:
            source = many[len(drums) - len(many)]
            drums.append(dict(drum_of(Session("", rate, [source]), source["name"], roll=7 * rate), name="%d more" % len(drums)))
        yield "%d tracks" % count, mixed("%d" % count, rate, drums, -26, count)
    yield "5 minutes in sections", sections(all_at, all_at[0].name, 300, 2)


CORNERS = (  # who makes them, of each session, and the names of all that it makes
    (lambda session, first: [("as recorded", session)], ["as recorded"]),
    (leakage_corners, [*("leakage %+d dB" % db for db in LEAKS), "no leakage", "other levels"]),
    (membership_corners, ["missing microphone", "few microphones", "one microphone", "a drum never plays", "a drum plays once",
                          "Other and overheads"]),
    (silence_corners, ["silent lead-in", "silent gaps", "silent gaps cut out", "35 % silence", "tracks muted by turns",
                       "a silent track", "all silent"]),
    (rate_corners, [*("%g kHz" % (rate / 1000) for rate in RATES), "60 s", "61 s"]),
    (piece_corners, ["10 s", "10 s, leakage -10 dB", "10 s, leakage +10 dB"]),
    (noise_corners, ["noise at -40 dB"]),
    (type_corners, ["wrong types", "second microphone on one drum", "second microphone of type Other"]),
    (timing_corners, ["drums hit together", "drums hit apart"]),
    (absence_corners, ["a drum never plays, leakage +10 dB"]),
    (change_corners, ["changes to one microphone"]))
JOINT_CORNERS = ["two snares", "two kicks", "two like toms", "12 tracks", "20 tracks", "5 minutes in sections"]


def corners(sessions, only):
    """What is made together with a corner that is asked for is made too: it shares its random values."""
    asked = lambda names: any(only in name for name in names)
    for session in sessions:
        for make, names in CORNERS:
            for corner, made in make(session, session is sessions[0]) if asked(names) else ():
                assert corner in names, corner
                yield corner, made
    if asked(JOINT_CORNERS):
        yield from joint_corners([s.copy(s.name) for s in sessions])


def main():
    parser = argparse.ArgumentParser(usage=__doc__)
    parser.add_argument("sessions", nargs="+")
    parser.add_argument("--out", required=True)
    parser.add_argument("--only", default="", help="corners whose name holds this")
    args = parser.parse_args()
    for corner, session in corners([load(s) for s in args.sessions], args.only):
        if args.only in corner:
            save(session, os.path.join(args.out, corner, session.name))
            print(os.path.join(args.out, corner, session.name))


if __name__ == "__main__":
    main()
