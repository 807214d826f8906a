"""Figures of a bench, printed as they come and kept for a JSON file."""

import json
import statistics


def text_of(samples, unit):
    spread = f" ({min(samples):.3g}-{max(samples):.3g})" if len(samples) > 1 else ""
    return f"{statistics.median(samples):.3g} {unit}{spread}"


class Figures:
    def __init__(self):
        self.all = {}

    def add(self, name, unit, ours, counterpart=(), beside="", at_most=None, at_least=None):
        """The goal is for the ratio to the counterpart: the median of the ratios of neighbouring runs, as what else the
        machine does then weighs on both. Without a counterpart it is for our own median."""
        median = value = statistics.median(ours)
        line = f"{name:<34} {text_of(ours, unit)}"
        figure = {"unit": unit, "ours": list(ours), "median": median}
        if counterpart:
            value = statistics.median(one / other for one, other in zip(ours, counterpart))
            line += f", {beside} {text_of(counterpart, unit)}, ratio {value:.2f}"
            figure |= {"beside": beside, "counterpart": list(counterpart), "ratio": value}
        if at_most or at_least:
            met = value <= at_most if at_most else value >= at_least
            goal = f"at most {at_most}" if at_most else f"at least {at_least}"
            line += f" (goal: {goal}){'' if met else ' MISSED'}"
            figure |= {"goal": goal, "met": met}
        self.all[name] = figure
        print(line, flush=True)

    def write(self, place):
        place.write_text(json.dumps(self.all, indent=1) + "\n")
