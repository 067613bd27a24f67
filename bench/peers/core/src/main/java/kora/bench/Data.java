package kora.bench;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.FileVisitResult;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.SimpleFileVisitor;
import java.nio.file.attribute.BasicFileAttributes;
import java.util.SplittableRandom;

/** The records, the same for every store: "000012/3f9a...", a thousand with each prefix. */
public final class Data {
  public static final int GROUP = 1000;
  /** A prime that divides no number of entries: stepping by it visits all in scattered order. */
  static final long STEP = 7_368_787;

  private static final int PREFIX = "000000/".length();
  private static final byte[] HEX = "0123456789abcdef".getBytes(StandardCharsets.US_ASCII);

  private Data() {}

  /** The key of a record, 16 to 23 characters. Made by hand: this is part of each operation. */
  public static String key(long index) {
    long mixed = (index + 1) * 0x9E3779B97F4A7C15L;
    mixed = (mixed ^ (mixed >>> 32)) * 0xD6E8FEB86659FD93L;
    mixed ^= mixed >>> 32;
    byte[] text = new byte[PREFIX + 9 + (int) (index % 8)];
    putPrefix(index / GROUP, text);
    for (int i = PREFIX; i < text.length; ++i, mixed >>>= 4) {
      text[i] = HEX[(int) (mixed & 15)];
    }
    return new String(text, StandardCharsets.ISO_8859_1);
  }

  /** A key that sorts between the others and is not there. */
  public static String absentKey(long index) {
    return key(index) + "~";
  }

  public static String prefix(long group) {
    byte[] text = new byte[PREFIX];
    putPrefix(group, text);
    return new String(text, StandardCharsets.ISO_8859_1);
  }

  private static void putPrefix(long group, byte[] text) {
    text[PREFIX - 1] = '/';
    for (int i = PREFIX - 2; i >= 0; --i, group /= 10) {
      text[i] = (byte) ('0' + group % 10);
    }
  }

  /** Bytes of which half can be compressed away, others for each number. */
  public static byte[] payload(int size, int number) {
    byte[] bytes = new byte[size];
    new SplittableRandom((long) size << 32 | number).nextBytes(bytes);
    for (int i = 0; i < size; ++i) {
      if (i / 10 % 2 == 0) {
        bytes[i] = 'x';
      }
    }
    return bytes;
  }

  /** The folder with so many records, which {@link Prepare} has filled. */
  public static Path prepared(String driver, int entries, int valueSize) {
    return Path.of(System.getProperty("bench.data"), driver + "-" + entries + "-" + valueSize);
  }

  public static void copy(Path from, Path to) throws IOException {
    try (var files = Files.walk(from)) {
      for (Path file : (Iterable<Path>) files::iterator) {
        Files.copy(file, to.resolve(from.relativize(file).toString()));
      }
    }
  }

  public static void delete(Path folder) throws IOException {
    if (!Files.exists(folder)) {
      return;
    }
    Files.walkFileTree(folder, new SimpleFileVisitor<>() {
      @Override
      public FileVisitResult visitFile(Path file, BasicFileAttributes attributes) throws IOException {
        Files.delete(file);
        return FileVisitResult.CONTINUE;
      }

      @Override
      public FileVisitResult postVisitDirectory(Path visited, IOException error) throws IOException {
        Files.delete(visited);
        return FileVisitResult.CONTINUE;
      }
    });
  }

  public static long size(Path folder) throws IOException {
    try (var files = Files.walk(folder)) {
      return files.filter(Files::isRegularFile).mapToLong(file -> file.toFile().length()).sum();
    }
  }
}
