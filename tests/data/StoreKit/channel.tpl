@Project = Templates
Description = Channel @@ of @@
Sampling = 1000
Criterion = @@ Output
Criterion = @@ Raw
Template = other.tpl
Filter @@ {
    "@@ Name" = @@ Filter
}
Kept {
}
