"""The figures as bars in an SVG file, with the spread as a line over each bar."""

import html

LEFT, WIDTH, RIGHT, LINE = 230, 420, 90, 22  # of the names, the longest bar, the numbers; a bar's height and its gap
OWN, OTHER, INK = "#1f6f8b", "#b8b8b8", "#222222"


def text(x, y, content, anchor="start", weight="normal"):
    return (f'<text x="{x:.0f}" y="{y:.0f}" text-anchor="{anchor}" font-weight="{weight}" fill="{INK}">'
            f"{html.escape(content)}</text>")


def bar(y, name, found, scale):
    low, high = (LEFT + scale * seconds for seconds in found["cpu_range"])
    end, middle = LEFT + scale * found["cpu"], y + LINE / 2 - 2
    colour = OWN if name.startswith("velk") else OTHER
    return [text(LEFT - 8, y + LINE - 8, name, "end"),
            f'<rect x="{LEFT}" y="{y}" width="{end - LEFT:.1f}" height="{LINE - 4}" fill="{colour}"/>',
            f'<line x1="{low:.1f}" x2="{high:.1f}" y1="{middle}" y2="{middle}" stroke="{INK}"/>',
            text(max(end, high) + 6, y + LINE - 8, f"{found['cpu']:.2f} s")]


def write(path, profiles, titles):
    parts, y = [text(8, 20, "CPU seconds of the whole process, median, lowest and highest", weight="bold")], 34
    for profile, ways in profiles.items():
        scale = WIDTH / max(found["cpu_range"][1] for found in ways.values())
        parts.append(text(8, y + LINE - 4, titles[profile], weight="bold"))
        y += LINE + 4
        for name, found in sorted(ways.items(), key=lambda way: way[1]["cpu"]):
            parts += bar(y, name, found, scale)
            y += LINE
        y += 10
    width = LEFT + WIDTH + RIGHT
    head = (f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {width} {y}" width="{width}" height="{y}" '
            f'font-family="sans-serif" font-size="13"><rect width="100%" height="100%" fill="white"/>')
    path.write_text("\n".join([head, *parts, "</svg>"]) + "\n", encoding="utf-8")
