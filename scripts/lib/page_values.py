#!/usr/bin/env python3
"""What the page of a gateway shows of some tags, asked over HTTP as a browser does: a line "TAG = VALUE, STATE" for each.

  scripts/lib/page_values.py http://127.0.0.1:8500 TAG...
"""
import http.client
import json
import sys
from urllib.parse import urlsplit

TIMEOUT_S = 10


class Refused(Exception):
    pass


def events(stream):
    """(name, data) of each event."""
    name = ""
    while line := stream.readline().decode():
        key, _, value = line.rstrip("\n").partition(": ")
        if key == "event":
            name = value
        elif key == "data":
            yield name, json.loads(value)
    raise Refused("the gateway has closed the stream")


def ask(host, method, path, body=None):
    connection = http.client.HTTPConnection(host, timeout=TIMEOUT_S)
    headers = {"Origin": f"http://{host}", "Sec-Fetch-Site": "same-origin", "Content-Type": "application/json"} if body else {}
    connection.request(method, path, json.dumps(body) if body else None, headers)
    answer = connection.getresponse()
    if answer.status != 200:
        raise Refused(f"{path} is answered with {answer.status}: {answer.read().decode()}")
    return answer


def values(url, tags):
    """Tag to (text, state)."""
    host = urlsplit(url).netloc
    known = [tag["name"] for tag in json.load(ask(host, "GET", "/api/plant"))["tags"]]
    unknown = [tag for tag in tags if tag not in known]
    if unknown:
        raise Refused(f"the page has no {', '.join(unknown)}")
    numbers = [known.index(tag) for tag in tags]
    with ask(host, "GET", "/api/stream") as stream:
        for name, data in events(stream):
            if name == "hello":
                ask(host, "POST", "/api/watch", {"stream": data["stream"], "tags": numbers}).read()
            if name == "picture" and data["values"]:
                shown = {value["tag"]: (", ".join(value["texts"]), value["state"]) for value in data["values"]}
                return {tag: shown[number] for tag, number in zip(tags, numbers)}


def main():
    if len(sys.argv) < 3:
        print(__doc__)
        return 2
    try:
        for tag, (text, state) in values(sys.argv[1], sys.argv[2:]).items():
            print(f"{tag} = {text}, {state}")
    except (OSError, Refused) as error:
        print(f"page_values: {error}", file=sys.stderr)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
