package com.brel.sorn.velk.spark;

import org.apache.spark.sql.Dataset;
import org.apache.spark.sql.Row;
import org.apache.spark.sql.SparkSession;

final class SparkExample {
  public static void main(String[] args) {
    SparkSession spark = SparkSession.builder().appName("masking").getOrCreate();
    Dataset<Row> people = spark.sql("select 'Zoë Martín' as name, date'1990-02-28' as born");
    String rules =
        "service=people key=env:MASK_KEY name=classes born=dateshift(days=30) born.type=date";
    MaskingErrors errors = MaskingErrors.in(spark, "people");
    VelkMasking.mask(people, rules, errors).write().mode("overwrite").parquet(args[0]);
    spark.read().parquet(args[0]).show();
    System.out.println("could not be masked: " + errors.value());
  }
}
