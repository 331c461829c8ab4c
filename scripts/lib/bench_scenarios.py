"""What the benchmarks compare: the rows of the table, and the names of the scenarios behind them (bench/)."""

SIZES = (100, 1000, 10000)
LAYOUTS = {"one-scope": "1 scope", "twenty-scopes": "20 scopes"}


class Row:
    """One line of the table: the driver's figure beside another one, the most that their ratio may be, and an expert's
    floor where there is one."""

    def __init__(self, title, size, beside, ours, goal=None, metric="wall", expert=None):
        self.title, self.size, self.beside, self.ours, self.goal, self.metric = title, size, beside, ours, goal, metric
        self.expert = expert

    def names(self):
        return [self.beside, self.ours] + ([self.expert] if self.expert else [])

    def beside_title(self):
        return self.beside.rsplit("/", 1)[1]


class Growth:
    """How much dearer the driver's figure gets, per tag, from one size to a larger one; the floor's growth beside."""

    def __init__(self, title, stem, small, large, goal):
        self.title, self.small, self.large, self.goal = title, small, large, goal
        self.ours = [f"{stem}/{size}/driver" for size in (small, large)]
        self.floors = [f"{stem}/{size}/floor" for size in (small, large)]

    def names(self):
        return self.ours + self.floors


def floor_row(title, size, stem, goal=None):
    return Row(title, size, f"{stem}/floor", f"{stem}/driver", goal, expert=f"{stem}/expert")


def corpus_rows(name, title, goal=None, layouts=LAYOUTS, sizes=SIZES):
    return [floor_row(f"{title}, {LAYOUTS[layout]}", size, f"{name}/{layout}/{size}", goal)
            for layout in layouts for size in sizes]


def growth_rows(name, title, small, large, goal):
    return [Growth(f"{title}, {LAYOUTS[layout]}, growth", f"{name}/{layout}", small, large, goal)
            for layout in LAYOUTS]


def link(size, who):
    return f"link/twenty-scopes/{size}/{who}"


def link_rows():
    rows = [Row("cycle over loopback", size, link(size, "floor"), link(size, "driver"), 1.6 if size == 1000 else None)
            for size in SIZES]
    rows += [Row("cycle over loopback, client CPU", size, link(size, "libmodbus"), link(size, "driver"),
                 1.0 if size == 1000 else None, "cpu") for size in SIZES]
    rows += [Row("cycle + every tag by name", size, link(size, "libmodbus"), link(size, "panel"),
                 1.0 if size == 1000 else None) for size in SIZES]
    return rows + [
        Row("cycle over loopback", 1000, link(1000, "libmodbus"), link(1000, "driver")),
        Row("cycle over loopback", 1000, link(1000, "qtmodbus"), link(1000, "driver")),
        Row("cycle over loopback, client CPU", 1000, link(1000, "qtmodbus"), link(1000, "driver"), None, "cpu"),
        Row("host's loop over loopback", 1000, link(1000, "floor"), link(1000, "host")),
        Row("host's loop over loopback", 1000, link(1000, "libmodbus"), link(1000, "host")),
        Row("host's loop, client CPU", 1000, link(1000, "libmodbus"), link(1000, "host"), None, "cpu"),
    ]


LOCAL_ROWS = (corpus_rows("read", "read by name", 2.5)
              + corpus_rows("read", "read by name", None, ("one-scope",), (1,))
              + corpus_rows("read", "read by name", None, ("twenty-scopes",), (100000,))
              + growth_rows("read", "read by name", 100, 10000, 1.5)
              + [row for row in corpus_rows("screen", "page of 100", 2.5) if row.size == SIZES[-1]]
              + growth_rows("screen", "page of 100", 100, 10000, 1.5)
              + corpus_rows("first-read", "1st read", None, sizes=SIZES[1:])
              + corpus_rows("resolve", "1st resolution", 3.0)
              + growth_rows("resolve", "1st resolution", 1000, 10000, 1.5)
              + corpus_rows("write", "write until reported", None, ("twenty-scopes",))
              + corpus_rows("load", "load", None, ("twenty-scopes",), (1000, 10000, 100000))
              + corpus_rows("rebuild", "rebuild", 2.0)
              + growth_rows("rebuild", "rebuild", 1000, 10000, 1.8)
              + [floor_row(f"Bubble_Sort, {order}", size, f"sort/{order}/{size}", 1.5)
                 for order in ("random", "ascending") for size in SIZES]
              + corpus_rows("cycle", "cycle, no network", 1.15)
              + corpus_rows("cycle", "cycle, no network", None, ("one-scope",), (1, 100000))
              + corpus_rows("first-cycle", "1st cycle, no network", None, ("twenty-scopes",), SIZES[1:]))
