"""Means and Markdown tables for what is measured; None stands for a value that there isn't."""


def mean(values):
    values = [v for v in values if v is not None]
    return sum(values) / len(values) if values else None


def text(value, pattern="%.1f"):
    return "-" if value is None else pattern % value


def print_row(cells):
    print("| " + " | ".join(cells) + " |", flush=True)


def print_heading(cells):
    print_row(cells)
    print_row(["---"] * len(cells))
