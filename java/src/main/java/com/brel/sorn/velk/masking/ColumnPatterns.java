package com.brel.sorn.velk.masking;

import java.util.ArrayList;
import java.util.Comparator;
import java.util.HashMap;
import java.util.List;
import java.util.Map;
import java.util.NavigableMap;
import java.util.TreeMap;

/**
 * Patterns from the most exact to the least. Those that a name may match are found by its beginning
 * or, where a pattern begins with a star, by its end, so that thousands of both take no time.
 */
final class ColumnPatterns {
  private final List<ColumnPattern> patterns;

  /** By the length of what a name must begin with, and by that text. */
  private final NavigableMap<Integer, Map<String, List<Integer>>> byStart = new TreeMap<>();

  private final NavigableMap<Integer, Map<String, List<Integer>>> byEnd = new TreeMap<>();

  ColumnPatterns(List<ColumnPattern> patterns) {
    this.patterns = new ArrayList<>(patterns);
    this.patterns.sort(Comparator.comparing(ColumnPattern::literals).reversed());
    for (int i = 0; i < size(); i++) {
      String start = get(i).start();
      if (start.isEmpty()) {
        add(byEnd, get(i).end(), i);
      } else {
        add(byStart, start, i);
      }
    }
  }

  private static void add(Map<Integer, Map<String, List<Integer>>> index, String text, int i) {
    index
        .computeIfAbsent(text.length(), length -> new HashMap<>())
        .computeIfAbsent(text, same -> new ArrayList<>())
        .add(i);
  }

  int size() {
    return patterns.size();
  }

  ColumnPattern get(int index) {
    return patterns.get(index);
  }

  /** The indexes of those that a name matches, in order. */
  int[] matching(String name) {
    int size = name.length();
    List<Integer> candidates = new ArrayList<>();
    byStart
        .headMap(size, true)
        .forEach((length, texts) -> candidates.addAll(at(texts, name.substring(0, length))));
    byEnd
        .headMap(size, true)
        .forEach((length, texts) -> candidates.addAll(at(texts, name.substring(size - length))));
    return candidates.stream()
        .mapToInt(i -> i)
        .filter(i -> get(i).matches(name))
        .sorted()
        .toArray();
  }

  private static List<Integer> at(Map<String, List<Integer>> texts, String text) {
    return texts.getOrDefault(text, List.of());
  }
}
